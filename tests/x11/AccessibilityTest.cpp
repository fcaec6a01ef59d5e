// Accessibility reads and observers against Openbox: the focused window, window order, frame geometry that agrees
// with the window list, and notifications for focus, creation, moves and resizes.
#include <gtest/gtest.h>

#include "XTestSession.h"
#include "XTools.h"
#include "platform/x11/X11Accessibility.h"
#include "platform/x11/X11WindowList.h"

using namespace tamsinvale;
using namespace tamsinvale::x11test;

namespace {

class AccessibilityTest : public ::testing::Test {
protected:
    XTestSession& s = XTestSession::get();
    X11Accessibility& ax() { return s.desktop().accessibility(); }
    std::optional<WindowSnapshotEntry> entry(xcb_window_t w)
    {
        const auto snapshot = s.desktop().windowList().onScreenWindows();
        if (snapshot)
            for (const WindowSnapshotEntry& e : *snapshot)
                if (e.number == w)
                    return e;
        return std::nullopt;
    }
};

WindowSpec windowSpec(const QString& title, int x, int y)
{
    WindowSpec s;
    s.title = title;
    s.x = x;
    s.y = y;
    s.width = 320;
    s.height = 240;
    return s;
}

struct Received {
    QString notification;
    AXElement element;
    bool operator==(const Received&) const = default;
};

}  // namespace

TEST_F(AccessibilityTest, readsAgreeWithTheWindowList)
{
    auto a = s.client({windowSpec(QStringLiteral("first"), 100, 100), windowSpec(QStringLiteral("second"), 500, 200)});
    auto b = s.client({windowSpec(QStringLiteral("other"), 900, 300)});
    ASSERT_TRUE(a && b);
    const AXElement app = ax().applicationElement(a->pid());
    EXPECT_TRUE(ax().isProcessTrusted());

    ASSERT_TRUE(s.activate(a->window(1)));
    ASSERT_TRUE(s.waitUntil([&] { return ax().elementAttribute(app, AXAttr::focusedWindow) == AXElement{a->pid(), a->window(1)}; }));
    const AXResult windows = ax().copyAttribute(app, AXAttr::windows);
    ASSERT_TRUE(windows.ok());
    EXPECT_EQ(windows.value.value<QList<AXElement>>(),
              (QList<AXElement>{{a->pid(), a->window(1)}, {a->pid(), a->window(0)}}));
    EXPECT_EQ(ax().stringAttribute(app, AXAttr::role), std::optional<QString>(QStringLiteral("AXApplication")));
    EXPECT_EQ(ax().stringAttribute(app, AXAttr::title), std::optional<QString>(QStringLiteral("TestClient")));

    // Position and size are the frame, the same rectangle the window list reports.
    for (const xcb_window_t w : a->windows()) {
        const AXElement element{a->pid(), w};
        const auto listed = entry(w);
        ASSERT_TRUE(listed);
        const auto position = ax().position(element);
        const auto size = ax().size(element);
        ASSERT_TRUE(position && size);
        EXPECT_EQ(QRectF(*position, *size), listed->bounds);
        EXPECT_EQ(QRectF(*position, *size), QRectF(*xtools::geometry(s.x().topLevelAncestor(w))));
    }
    EXPECT_EQ(ax().stringAttribute(AXElement{a->pid(), a->window(0)}, AXAttr::title),
              std::optional<QString>(QStringLiteral("first")));
    EXPECT_EQ(ax().boolAttribute(AXElement{a->pid(), a->window(1)}, AXAttr::focused), std::optional<bool>(true));

    // Another application in front: this one's focused window is still its own frontmost one.
    ASSERT_TRUE(s.activate(b->window(0)));
    ASSERT_TRUE(s.waitUntil([&] { return xtools::activeWindow() == b->window(0); }));
    EXPECT_EQ(ax().elementAttribute(app, AXAttr::focusedWindow), (AXElement{a->pid(), a->window(1)}));
    // A window asked for under the wrong application is not an element of it.
    EXPECT_EQ(ax().copyAttribute(AXElement{a->pid(), b->window(0)}, AXAttr::title).status, AXError::invalidUIElement);
    EXPECT_EQ(ax().copyAttribute(AXElement{a->pid(), a->window(0)}, QStringLiteral("AXNoSuchThing")).status,
              AXError::attributeUnsupported);
}

TEST_F(AccessibilityTest, observerDeliversFocusCreationMovesAndResizes)
{
    auto a = s.client({windowSpec(QStringLiteral("watched"), 100, 100), windowSpec(QStringLiteral("sibling"), 600, 100)});
    auto b = s.client({windowSpec(QStringLiteral("unwatched"), 900, 500)});
    ASSERT_TRUE(a && b);
    ASSERT_TRUE(s.activate(b->window(0)));
    ASSERT_TRUE(s.waitUntil([&] { return xtools::activeWindow() == b->window(0); }));

    QList<Received> received;
    AXError status = AXError::failure;
    auto observer = ax().observe(a->pid(),
                                 {AXNotification::focusedWindowChanged, AXNotification::windowCreated,
                                  AXNotification::windowMoved, AXNotification::windowResized},
                                 [&](const QString& n, const AXElement& e) { received.append({n, e}); }, &status);
    ASSERT_EQ(status, AXError::success);
    ASSERT_TRUE(observer);
    EXPECT_EQ(observer->pid(), a->pid());

    // Events of another application come to nobody here; the next one of ours arrives first.
    ASSERT_TRUE(s.tool({QStringLiteral("xdotool"), QStringLiteral("windowmove"), QString::number(b->window(0)),
                        QStringLiteral("850"), QStringLiteral("450")}));
    ASSERT_TRUE(s.activate(a->window(1)));
    ASSERT_TRUE(s.waitUntil([&] { return !received.isEmpty(); }));
    EXPECT_EQ(received.first(), (Received{AXNotification::focusedWindowChanged, {a->pid(), a->window(1)}}));

    received.clear();
    const auto created = a->openWindow(windowSpec(QStringLiteral("new"), 300, 400));
    ASSERT_TRUE(created);
    ASSERT_TRUE(s.waitUntil([&] {
        return received.contains(Received{AXNotification::windowCreated, {a->pid(), *created}});
    }));

    // The new window took the focus meanwhile; wait for that before watching moves.
    ASSERT_TRUE(s.waitUntil([&] { return xtools::activeWindow() == *created; }));
    ASSERT_TRUE(s.waitUntil([&] {
        return received.contains(Received{AXNotification::focusedWindowChanged, {a->pid(), *created}});
    }));
    received.clear();
    ASSERT_TRUE(s.tool({QStringLiteral("xdotool"), QStringLiteral("windowmove"), QString::number(a->window(0)),
                        QStringLiteral("250"), QStringLiteral("260")}));
    ASSERT_TRUE(s.waitUntil([&] { return !received.isEmpty(); }));
    EXPECT_EQ(received.first(), (Received{AXNotification::windowMoved, {a->pid(), a->window(0)}}));
    for (const Received& r : received)
        EXPECT_NE(r.notification, AXNotification::windowResized);

    received.clear();
    ASSERT_TRUE(s.tool({QStringLiteral("xdotool"), QStringLiteral("windowsize"), QString::number(a->window(0)),
                        QStringLiteral("500"), QStringLiteral("380")}));
    ASSERT_TRUE(s.waitUntil([&] {
        return received.contains(Received{AXNotification::windowResized, {a->pid(), a->window(0)}});
    }));

    // Once the handle is gone, nothing more arrives; a later observer proves the event was delivered.
    observer.reset();
    received.clear();
    QList<Received> later;
    auto second = ax().observe(a->pid(), {AXNotification::windowMoved},
                               [&](const QString& n, const AXElement& e) { later.append({n, e}); }, &status);
    ASSERT_TRUE(second);
    ASSERT_TRUE(s.tool({QStringLiteral("xdotool"), QStringLiteral("windowmove"), QString::number(a->window(0)),
                        QStringLiteral("120"), QStringLiteral("140")}));
    ASSERT_TRUE(s.waitUntil([&] { return !later.isEmpty(); }));
    EXPECT_TRUE(received.isEmpty());

    // Observing a process that does not exist fails cleanly.
    auto none = ax().observe(999999, {AXNotification::windowMoved}, [](const QString&, const AXElement&) {}, &status);
    EXPECT_FALSE(none);
    EXPECT_EQ(status, AXError::cannotComplete);
}
