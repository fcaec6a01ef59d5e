// The window list against Openbox: stacking after activations, layers of window kinds, states, real programs,
// windows vanishing under the reader, and our own panels.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <unistd.h>

#include "XTestSession.h"
#include "XTools.h"
#include "platform/x11/X11Accessibility.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11WindowList.h"
#include "platform/x11/X11WindowReader.h"
#include "platform/x11/X11Workspace.h"

using namespace tamsinvale;
using namespace tamsinvale::x11test;

namespace {

class WindowListTest : public ::testing::Test {
protected:
    XTestSession& s = XTestSession::get();

    QList<X11ListedWindow> all()
    {
        const auto rows = s.desktop().windowList().allWindows();
        return rows ? *rows : QList<X11ListedWindow>{};
    }
    std::optional<X11ListedWindow> row(xcb_window_t w)
    {
        for (const X11ListedWindow& r : all())
            if (r.window.id == w)
                return r;
        return std::nullopt;
    }
    QList<xcb_window_t> numbers()
    {
        QList<xcb_window_t> out;
        for (const X11ListedWindow& r : all())
            out.append(r.window.id);
        return out;
    }
    AXResult attribute(pid_t pid, xcb_window_t w, const QString& name)
    {
        return s.desktop().accessibility().copyAttribute(AXElement{pid, w}, name);
    }
};

WindowSpec windowSpec(const QString& title, int x, int y, int w = 300, int h = 200)
{
    WindowSpec s;
    s.title = title;
    s.x = x;
    s.y = y;
    s.width = w;
    s.height = h;
    return s;
}

}  // namespace

TEST_F(WindowListTest, stackingFollowsActivationsAsTheWindowManagerReportsIt)
{
    auto a = s.client({windowSpec(QStringLiteral("a0"), 50, 50), windowSpec(QStringLiteral("a1"), 150, 120),
                       windowSpec(QStringLiteral("a2"), 250, 190)});
    auto b = s.client({windowSpec(QStringLiteral("b0"), 700, 100)});
    ASSERT_TRUE(a && b);
    auto xterm = s.application({QStringLiteral("xterm"), QStringLiteral("-geometry"), QStringLiteral("60x10+900+400")});
    auto xclock = s.application({QStringLiteral("xclock"), QStringLiteral("-geometry"), QStringLiteral("150x150+1200+600")});
    const auto term = s.clientWindowOf(QStringLiteral("XTerm"));
    const auto clock = s.clientWindowOf(QStringLiteral("XClock"));
    ASSERT_TRUE(term && clock);

    // xclock takes no input focus (WM_HINTS input false), so the manager never activates it; it just sits in the stack.
    const QList<xcb_window_t> sequence{a->window(1), b->window(0), *term, a->window(0), a->window(2), *term, b->window(0)};
    for (const xcb_window_t target : sequence) {
        ASSERT_TRUE(s.activate(target));
        // Openbox restacks and then publishes; our list must agree with what xprop reads once it has settled.
        QList<xcb_window_t> expected;
        const bool agreed = s.waitUntil([&] {
            const auto stacking = xtools::rootWindowList(QStringLiteral("_NET_CLIENT_LIST_STACKING"));
            if (!stacking || stacking->isEmpty() || stacking->last() != target)
                return false;
            expected = QList<xcb_window_t>(stacking->crbegin(), stacking->crend());
            return numbers() == expected;
        });
        ASSERT_TRUE(agreed) << "after activating " << target;
        EXPECT_EQ(xtools::activeWindow(), target);
        const auto first = all().first();
        EXPECT_EQ(first.window.id, target);
    }

    // Frames as xwininfo measures them, in root coordinates (the primary monitor sits at the origin here).
    for (const X11ListedWindow& r : all()) {
        const xcb_window_t frame = s.x().topLevelAncestor(r.window.id);
        const auto measured = xtools::geometry(frame);
        ASSERT_TRUE(measured) << r.window.id;
        EXPECT_EQ(r.entry.bounds, QRectF(*measured)) << r.entry.name.toStdString();
        EXPECT_EQ(r.entry.onScreen, std::optional<bool>(true));
        EXPECT_EQ(r.entry.layer, std::optional<int>(WindowLevel::normal));
    }
    const auto entryA1 = row(a->window(1));
    ASSERT_TRUE(entryA1);
    EXPECT_EQ(entryA1->entry.ownerPid, a->pid());
    EXPECT_EQ(entryA1->entry.name, QStringLiteral("a1"));
    EXPECT_EQ(entryA1->entry.ownerName, QStringLiteral("TestClient"));
}

TEST_F(WindowListTest, windowKindsGetTheirLayerAndSubrole)
{
    WindowSpec main = windowSpec(QStringLiteral("main"), 100, 100, 600, 400);
    WindowSpec dialog = windowSpec(QStringLiteral("dialog"), 200, 150);
    dialog.type = QStringLiteral("dialog");
    dialog.transientFor = 0;
    WindowSpec utility = windowSpec(QStringLiteral("palette"), 750, 100, 150, 300);
    utility.type = QStringLiteral("utility");
    WindowSpec above = windowSpec(QStringLiteral("on top"), 900, 500);
    above.states = {QStringLiteral("above")};
    WindowSpec transient = windowSpec(QStringLiteral("transient"), 300, 300);
    transient.transientFor = 0;
    auto client = s.client({main, dialog, utility, above, transient});
    ASSERT_TRUE(client);
    const pid_t pid = client->pid();

    struct Expected {
        int index;
        int layer;
        const char* subrole;
    };
    const Expected expected[] = {{0, WindowLevel::normal, "AXStandardWindow"},
                                 {1, WindowLevel::normal, "AXDialog"},
                                 {2, WindowLevel::floating, "AXFloatingWindow"},
                                 {3, WindowLevel::floating, "AXStandardWindow"},
                                 {4, WindowLevel::normal, "AXDialog"}};
    ASSERT_TRUE(s.waitUntil([&] {
        const auto r = row(client->window(3));
        return r && r->window.above;  // the manager has applied the initial state
    }));
    for (const Expected& e : expected) {
        const xcb_window_t w = client->window(e.index);
        const auto r = row(w);
        ASSERT_TRUE(r) << e.index;
        EXPECT_EQ(r->entry.layer, std::optional<int>(e.layer)) << e.index;
        EXPECT_EQ(attribute(pid, w, AXAttr::role).value.toString(), QStringLiteral("AXWindow"));
        EXPECT_EQ(attribute(pid, w, AXAttr::subrole).value.toString(), QString::fromLatin1(e.subrole)) << e.index;
    }
    // Cross-check the inputs with xprop: the kinds are what the client announced.
    EXPECT_TRUE(xtools::property(client->window(1), QStringLiteral("_NET_WM_WINDOW_TYPE"))->contains(QStringLiteral("DIALOG")));
    EXPECT_TRUE(xtools::property(client->window(3), QStringLiteral("_NET_WM_STATE"))->contains(QStringLiteral("ABOVE")));
    // Openbox keeps "above" windows over normal ones, so the layers agree with the stacking.
    const QList<xcb_window_t> order = numbers();
    EXPECT_LT(order.indexOf(client->window(3)), order.indexOf(client->window(0)));
}

TEST_F(WindowListTest, fullScreenHiddenAndOtherDesktopStates)
{
    WindowSpec full = windowSpec(QStringLiteral("full"), 100, 100);
    full.states = {QStringLiteral("fullscreen")};
    WindowSpec normal = windowSpec(QStringLiteral("normal"), 400, 300);
    WindowSpec iconic = windowSpec(QStringLiteral("iconic"), 500, 500);
    iconic.states = {QStringLiteral("hidden")};
    WindowSpec elsewhere = windowSpec(QStringLiteral("elsewhere"), 600, 200);
    auto client = s.client({full, normal, iconic, elsewhere});
    ASSERT_TRUE(client);
    const pid_t pid = client->pid();
    const xcb_window_t fullId = client->window(0), normalId = client->window(1), iconicId = client->window(2),
                       elsewhereId = client->window(3);

    ASSERT_TRUE(s.waitUntil([&] {
        const auto r = row(fullId);
        return r && r->entry.bounds == QRectF(0, 0, 1920, 1080);
    }));
    EXPECT_EQ(attribute(pid, fullId, AXAttr::fullScreen).value, QVariant(true));
    EXPECT_EQ(attribute(pid, normalId, AXAttr::fullScreen).value, QVariant(false));
    EXPECT_EQ(row(fullId)->entry.layer, std::optional<int>(WindowLevel::normal));
    EXPECT_EQ(attribute(pid, fullId, AXAttr::size).value, QVariant(QSizeF(1920, 1080)));

    // Started iconic: listed, off screen, minimised.
    ASSERT_TRUE(s.waitUntil([&] {
        const auto r = row(iconicId);
        return r && r->entry.onScreen == std::optional<bool>(false);
    }));
    EXPECT_EQ(attribute(pid, iconicId, AXAttr::minimized).value, QVariant(true));
    EXPECT_TRUE(xtools::property(iconicId, QStringLiteral("_NET_WM_STATE"))->contains(QStringLiteral("HIDDEN")));

    // Minimised later through the manager.
    EXPECT_EQ(attribute(pid, normalId, AXAttr::minimized).value, QVariant(false));
    ASSERT_TRUE(s.tool({QStringLiteral("xdotool"), QStringLiteral("windowminimize"), QStringLiteral("--sync"),
                        QString::number(normalId)}));
    ASSERT_TRUE(s.waitUntil([&] { return attribute(pid, normalId, AXAttr::minimized).value == QVariant(true); }));
    EXPECT_EQ(row(normalId)->entry.onScreen, std::optional<bool>(false));

    // Sent to another desktop.
    ASSERT_TRUE(s.tool({QStringLiteral("xdotool"), QStringLiteral("set_desktop_for_window"), QString::number(elsewhereId),
                        QStringLiteral("1")}));
    ASSERT_TRUE(s.waitUntil([&] {
        const auto r = row(elsewhereId);
        return r && r->entry.onScreen == std::optional<bool>(false);
    }));

    // The on-screen snapshot leaves all three out; the full-screen window stays.
    const auto snapshot = s.desktop().windowList().onScreenWindows();
    ASSERT_TRUE(snapshot);
    QList<WindowNumber> listed;
    for (const WindowSnapshotEntry& e : *snapshot)
        listed.append(e.number.value_or(0));
    EXPECT_TRUE(listed.contains(fullId));
    EXPECT_FALSE(listed.contains(normalId));
    EXPECT_FALSE(listed.contains(iconicId));
    EXPECT_FALSE(listed.contains(elsewhereId));
}

TEST_F(WindowListTest, realProgramsAreListedWithTheirProcess)
{
    auto xclock = s.application({QStringLiteral("xclock"), QStringLiteral("-geometry"), QStringLiteral("120x120+40+40")});
    auto xterm = s.application({QStringLiteral("xterm"), QStringLiteral("-T"), QStringLiteral("a terminal")});
    WindowSpec silent = windowSpec(QStringLiteral("no pid"), 600, 600);
    silent.setPid = false;
    auto quiet = s.client({silent});
    ASSERT_TRUE(xclock && xterm && quiet);
    const auto clock = s.clientWindowOf(QStringLiteral("XClock"));
    const auto term = s.clientWindowOf(QStringLiteral("XTerm"));
    ASSERT_TRUE(clock && term);

    // A client that does not publish _NET_WM_PID (as older Xt programs do not) is found through X-Resource.
    EXPECT_EQ(xtools::property(quiet->window(0), QStringLiteral("_NET_WM_PID")), QString());
    ASSERT_TRUE(s.waitUntil([&] { return row(quiet->window(0)).has_value(); }));
    EXPECT_EQ(row(quiet->window(0))->entry.ownerPid, quiet->pid());
    ASSERT_TRUE(s.waitUntil([&] { return row(*clock) && row(*term); }));
    EXPECT_EQ(row(*clock)->entry.ownerPid, xclock->pid());
    EXPECT_EQ(row(*clock)->entry.ownerName, QStringLiteral("XClock"));
    EXPECT_EQ(row(*term)->entry.ownerPid, xterm->pid());
    ASSERT_TRUE(s.waitUntil([&] { return row(*term)->entry.name == QStringLiteral("a terminal"); }));
    const auto name = s.tool({QStringLiteral("xdotool"), QStringLiteral("getwindowname"), QString::number(*term)});
    ASSERT_TRUE(name);
    EXPECT_EQ(row(*term)->entry.name, name->trimmed());
}

namespace {
QStringList xcbWarnings;
void collectXcbWarnings(QtMsgType, const QMessageLogContext&, const QString& message)
{
    if (message.contains(QLatin1String("XCB error")))
        xcbWarnings.append(message);
}
}  // namespace

TEST_F(WindowListTest, windowsThatCloseUnderTheReaderCrashNothing)
{
    auto client = s.client({windowSpec(QStringLiteral("stays"), 100, 100), windowSpec(QStringLiteral("goes"), 300, 300),
                            windowSpec(QStringLiteral("also stays"), 500, 100)});
    ASSERT_TRUE(client);
    const pid_t pid = client->pid();
    const xcb_window_t goes = client->window(1);
    xcbWarnings.clear();
    const QtMessageHandler previous = qInstallMessageHandler(collectXcbWarnings);

    // Listed, then closed before its attributes are read.
    ASSERT_TRUE(s.waitUntil([&] { return row(goes).has_value(); }));
    const auto snapshot = s.desktop().windowList().onScreenWindows();
    ASSERT_TRUE(snapshot);
    ASSERT_TRUE(client->closeWindow(1));
    ASSERT_FALSE(s.x().windowExists(goes));
    EXPECT_EQ(attribute(pid, goes, AXAttr::title).status, AXError::invalidUIElement);
    EXPECT_EQ(attribute(pid, goes, AXAttr::position).status, AXError::invalidUIElement);
    EXPECT_EQ(s.desktop().accessibility().copyAttributeNames(AXElement{pid, goes}).status, AXError::invalidUIElement);
    EXPECT_FALSE(s.desktop().reader().read(goes).exists);
    // A list naming it (the manager has not caught up yet, or just has) reads the rest and skips it.
    const QList<X11Window> read = s.desktop().reader().read({client->window(0), goes, client->window(2)});
    EXPECT_TRUE(read[0].exists);
    EXPECT_FALSE(read[1].exists);
    EXPECT_TRUE(read[2].exists);
    EXPECT_EQ(read[2].name, QStringLiteral("also stays"));

    // Windows appearing and vanishing while we list and read, hundreds of times.
    ASSERT_TRUE(client->churn(300));
    int passes = 0;
    bool churned = false;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(90);
    while (!churned) {
        const auto rows = s.desktop().windowList().allWindows();
        ASSERT_TRUE(rows);
        for (const X11ListedWindow& r : *rows) {
            attribute(r.entry.ownerPid, r.window.id, AXAttr::title);
            attribute(r.entry.ownerPid, r.window.id, AXAttr::size);
        }
        s.desktop().workspace().runningApplications();
        QCoreApplication::processEvents();
        ++passes;
        // A short wait on the client between passes leaves the server and the manager time to do the churning.
        churned = client->waitForChurn(std::chrono::milliseconds(5));
        ASSERT_LT(std::chrono::steady_clock::now(), deadline) << "the client did not finish churning";
    }
    QCoreApplication::processEvents();
    qInstallMessageHandler(previous);
    EXPECT_GT(passes, 1);
    EXPECT_FALSE(s.desktop().connection().isBroken());
    EXPECT_TRUE(xcbWarnings.isEmpty()) << xcbWarnings.join(QLatin1Char('\n')).toStdString();
    ASSERT_TRUE(s.waitUntil([&] { return !row(goes) && row(client->window(2)); }));
}

TEST_F(WindowListTest, ownPanelsAreListedAtTheirPlaceInTheStack)
{
    auto client = s.client({windowSpec(QStringLiteral("back"), 100, 100), windowSpec(QStringLiteral("front"), 200, 200)});
    ASSERT_TRUE(client);
    ASSERT_TRUE(s.activate(client->window(1)));
    ASSERT_TRUE(s.waitUntil([&] { return !numbers().isEmpty() && numbers().first() == client->window(1); }));

    // An override-redirect panel of ours, on our own (Qt's) connection, as the overlays are.
    xcb_connection_t* c = s.desktop().connection().xcb();
    const xcb_window_t panel = xcb_generate_id(c);
    const uint32_t values[] = {1};
    xcb_create_window(c, XCB_COPY_FROM_PARENT, panel, s.desktop().connection().root(), 0, 0, 800, 600, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT, values);
    xcb_map_window(c, panel);
    s.desktop().registerOwnPanel(panel, WindowLevel::normal);

    const auto place = [&](xcb_window_t sibling, uint32_t mode) {
        const uint32_t v[] = {sibling, mode};
        xcb_configure_window(c, panel, XCB_CONFIG_WINDOW_SIBLING | XCB_CONFIG_WINDOW_STACK_MODE, v);
        xcb_flush(c);
    };
    // Directly below the frontmost client's frame: listed right after it.
    place(s.x().topLevelAncestor(client->window(1)), XCB_STACK_MODE_BELOW);
    QList<xcb_window_t> order = numbers();
    ASSERT_TRUE(order.contains(panel));
    EXPECT_EQ(order.indexOf(panel), order.indexOf(client->window(1)) + 1);
    const auto listed = row(panel);
    ASSERT_TRUE(listed);
    EXPECT_TRUE(listed->ownPanel);
    EXPECT_EQ(listed->entry.ownerPid, static_cast<std::int32_t>(getpid()));
    EXPECT_EQ(listed->entry.layer, std::optional<int>(WindowLevel::normal));
    EXPECT_EQ(listed->entry.bounds, QRectF(0, 0, 800, 600));
    EXPECT_EQ(listed->entry.onScreen, std::optional<bool>(true));

    // Below the back window too: after both.
    place(s.x().topLevelAncestor(client->window(0)), XCB_STACK_MODE_BELOW);
    order = numbers();
    EXPECT_EQ(order.indexOf(panel), order.indexOf(client->window(0)) + 1);
    EXPECT_GT(order.indexOf(panel), order.indexOf(client->window(1)));

    // Above everything.
    const uint32_t top[] = {XCB_STACK_MODE_ABOVE};
    xcb_configure_window(c, panel, XCB_CONFIG_WINDOW_STACK_MODE, top);
    xcb_flush(c);
    EXPECT_EQ(numbers().first(), panel);

    s.desktop().unregisterOwnPanel(panel);
    EXPECT_FALSE(numbers().contains(panel));
    xcb_destroy_window(c, panel);
    xcb_flush(c);
}

TEST_F(WindowListTest, changesToAListedWindowAreSeenOnTheNextRead)
{
    auto client = s.client({windowSpec(QStringLiteral("before"), 100, 100)});
    ASSERT_TRUE(client);
    const xcb_window_t w = client->window(0);
    // Read once, so that what does not change every time is kept.
    ASSERT_TRUE(s.waitUntil([&] { return row(w) && row(w)->entry.name == QStringLiteral("before"); }));
    ASSERT_TRUE(s.waitUntil([&] { return row(w)->entry.ownerName == QStringLiteral("TestClient"); }));

    ASSERT_TRUE(s.tool({QStringLiteral("xdotool"), QStringLiteral("set_window"), QStringLiteral("--name"),
                        QStringLiteral("after"), QString::number(w)}));
    ASSERT_TRUE(s.tool({QStringLiteral("xdotool"), QStringLiteral("set_window"), QStringLiteral("--class"),
                        QStringLiteral("Renamed"), QString::number(w)}));
    EXPECT_TRUE(s.waitUntil([&] { return row(w)->entry.name == QStringLiteral("after"); }));
    EXPECT_TRUE(s.waitUntil([&] { return row(w)->entry.ownerName == QStringLiteral("Renamed"); }));

    const QRectF before = row(w)->entry.bounds;
    ASSERT_TRUE(s.tool({QStringLiteral("xdotool"), QStringLiteral("windowmove"), QString::number(w), QStringLiteral("400"),
                        QStringLiteral("300")}));
    EXPECT_TRUE(s.waitUntil([&] {
        const QRectF now = row(w)->entry.bounds;
        return now != before && now == QRectF(*xtools::geometry(s.x().topLevelAncestor(w)));
    }));
}

TEST_F(WindowListTest, whoAWindowIsIsAnsweredFromWhatIsKeptFollowedAndDroppedWhenItGoes)
{
    auto client = s.client({windowSpec(QStringLiteral("one"), 100, 100), windowSpec(QStringLiteral("two"), 400, 100)});
    ASSERT_TRUE(client);
    const X11WindowReader& reader = s.desktop().reader();
    const xcb_window_t one = client->window(0), two = client->window(1);
    const QList<X11Window> full = reader.read({one, two});
    ASSERT_TRUE(full[0].exists && full[1].exists);
    auto kept = [&](xcb_window_t w) { return reader.readWithoutGeometry({w}).first(); };
    EXPECT_EQ(kept(one).pid, client->pid());
    EXPECT_EQ(kept(one).wmClass, full[0].wmClass);
    EXPECT_EQ(kept(one).type, X11WindowType::normal);

    // A property changed by another client is followed...
    ASSERT_TRUE(s.tool({QStringLiteral("xdotool"), QStringLiteral("set_window"), QStringLiteral("--class"),
                        QStringLiteral("Renamed"), QString::number(one)}));
    EXPECT_TRUE(s.waitUntil([&] { return kept(one).wmClass == QStringLiteral("Renamed"); }));
    // ...and a window that went is not answered for as if it were still there.
    ASSERT_TRUE(client->closeWindow(1));
    ASSERT_FALSE(s.x().windowExists(two));
    EXPECT_TRUE(s.waitUntil([&] { return !kept(two).exists; }));
    EXPECT_TRUE(kept(one).exists);
}
