// Window actions against Openbox: frames placed (and read back) as the manager applies them, raising, focus and
// application activation with real timestamps, and windows that vanish in the middle of a request.
#include <gtest/gtest.h>

#include <QRect>
#include <csignal>
#include <functional>
#include <memory>

#include <xcb/xcb_icccm.h>
#include <xcb/xinput.h>

#include "XTestSession.h"
#include "XTools.h"
#include "platform/x11/X11Accessibility.h"
#include "platform/x11/X11Connection.h"
#include "platform/x11/X11Screens.h"
#include "platform/x11/X11WindowActions.h"
#include "platform/x11/X11WindowList.h"
#include "platform/x11/X11Workspace.h"

using namespace tamsinvale;
using namespace tamsinvale::x11test;

namespace {

class WindowActionsTest : public ::testing::Test {
protected:
    XTestSession& s = XTestSession::get();
    X11WindowActions actions{s.desktop().connection(), s.desktop().reader(), s.desktop().screens(),
                             s.display().toLocal8Bit()};

    // The manager's frame around a client, as xwininfo reports it: independent of the code under test.
    std::optional<QRect> frameOf(xcb_window_t client)
    {
        const xcb_window_t frame = s.x().topLevelAncestor(client);
        if (frame == XCB_WINDOW_NONE)
            return std::nullopt;
        return xtools::geometry(frame);
    }
    xcb_window_t active() { return s.x().cardinals(s.x().root(), "_NET_ACTIVE_WINDOW").value(0); }
    qsizetype stackIndex(xcb_window_t w) { return s.stackingBottomToTop().indexOf(w); }
    bool maximized(xcb_window_t w)
    {
        const QList<uint32_t> state = s.x().cardinals(w, "_NET_WM_STATE");
        return state.contains(s.x().atom("_NET_WM_STATE_MAXIMIZED_VERT"))
               || state.contains(s.x().atom("_NET_WM_STATE_MAXIMIZED_HORZ"));
    }
    // The primary monitor's visible frame, in accessibility coordinates.
    QRectF visibleArea()
    {
        const QList<ScreenInfo> screens = s.desktop().screens().screens();
        if (screens.isEmpty())
            return {};
        const QRectF v = screens.first().visibleFrame;
        return QRectF(v.x(), screens.first().frame.bottom() - v.bottom(), v.width(), v.height());
    }
};

WindowSpec windowSpec(const QString& title, int x, int y, const QStringList& states = {})
{
    WindowSpec s;
    s.title = title;
    s.x = x;
    s.y = y;
    s.width = 320;
    s.height = 240;
    s.states = states;
    return s;
}

}  // namespace

TEST_F(WindowActionsTest, snappingAnXtermToAHalfLandsWithinItsResizeIncrement)
{
    // A panel along the top, so that the visible area is not the whole screen.
    WindowSpec panel = windowSpec(QStringLiteral("panel"), 0, 0);
    panel.type = QStringLiteral("dock");
    panel.width = XTestSession::defaultSize.width();
    panel.height = 36;
    panel.strutTop = 36;
    panel.strutTopEndX = XTestSession::defaultSize.width() - 1;
    auto dock = s.client({panel});
    auto xterm = s.application({QStringLiteral("xterm"), QStringLiteral("-geometry"), QStringLiteral("70x20+300+300")});
    ASSERT_TRUE(dock && xterm);
    const auto window = s.clientWindowOf(QStringLiteral("XTerm"));
    ASSERT_TRUE(window);
    ASSERT_TRUE(s.waitUntil([&] {
        s.desktop().screens().refresh();
        return visibleArea().top() == 36;
    }));
    const QRectF area = visibleArea();
    const QRectF half(area.x(), area.y(), std::floor(area.width() * 0.5), area.height());

    xcb_size_hints_t hints{};
    ASSERT_TRUE(xcb_icccm_get_wm_normal_hints_reply(s.x().xcb(), xcb_icccm_get_wm_normal_hints(s.x().xcb(), *window),
                                                    &hints, nullptr));
    ASSERT_TRUE(hints.flags & XCB_ICCCM_SIZE_HINT_P_RESIZE_INC);
    ASSERT_GT(hints.width_inc, 1);
    ASSERT_GT(hints.height_inc, 1);

    const auto applied = actions.setFrame(*window, half);
    ASSERT_TRUE(applied);
    const auto frame = frameOf(*window);
    ASSERT_TRUE(frame);
    // What we report is what the manager did, in accessibility coordinates (the primary monitor is at 0,0).
    EXPECT_EQ(applied->toRect(), *frame);
    EXPECT_EQ(frame->topLeft(), half.toRect().topLeft());
    EXPECT_LE(frame->width(), half.width());
    EXPECT_GT(frame->width(), half.width() - hints.width_inc);
    EXPECT_LE(frame->height(), half.height());
    EXPECT_GT(frame->height(), half.height() - hints.height_inc);

    // The right half: flush with the right edge up to the increment, whatever the decorations.
    const QRectF right(area.right() - half.width(), area.y(), half.width(), area.height());
    const auto appliedRight = actions.setFrame(*window, right);
    ASSERT_TRUE(appliedRight);
    EXPECT_EQ(appliedRight->toRect(), *frameOf(*window));
    EXPECT_EQ(appliedRight->topLeft(), right.topLeft());
    EXPECT_GT(appliedRight->width(), right.width() - hints.width_inc);
}

TEST_F(WindowActionsTest, aMaximisedWindowIsRestoredThenPlacedExactlyAndAFullScreenOneIsLeftAlone)
{
    auto client = s.client({windowSpec(QStringLiteral("big"), 50, 50, {QStringLiteral("maximized")})});
    ASSERT_TRUE(client);
    const xcb_window_t w = client->window(0);
    ASSERT_TRUE(s.waitUntil([&] { return maximized(w); }));

    const QRectF target(200, 150, 640, 480);
    const auto applied = actions.setFrame(w, target);
    ASSERT_TRUE(applied);
    EXPECT_FALSE(maximized(w));
    EXPECT_EQ(*applied, target);
    EXPECT_EQ(*frameOf(w), target.toRect());

    // Position and size alone keep the other half of the frame.
    const auto moved = actions.setPosition(w, QPointF(300, 260));
    ASSERT_TRUE(moved);
    EXPECT_EQ(*frameOf(w), QRect(300, 260, 640, 480));
    const auto resized = actions.setSize(w, QSizeF(500, 400));
    ASSERT_TRUE(resized);
    EXPECT_EQ(*frameOf(w), QRect(300, 260, 500, 400));
    EXPECT_EQ(*resized, QRectF(300, 260, 500, 400));

    auto full = s.client({windowSpec(QStringLiteral("full"), 50, 50, {QStringLiteral("fullscreen")})});
    ASSERT_TRUE(full);
    const xcb_window_t f = full->window(0);
    ASSERT_TRUE(s.waitUntil([&] {
        return s.x().cardinals(f, "_NET_WM_STATE").contains(s.x().atom("_NET_WM_STATE_FULLSCREEN"))
               && frameOf(f) == QRect(QPoint(0, 0), XTestSession::defaultSize);
    }));
    const auto kept = actions.setFrame(f, QRectF(10, 10, 300, 200));
    ASSERT_TRUE(kept);
    EXPECT_EQ(*kept, QRectF(QPointF(0, 0), QSizeF(XTestSession::defaultSize)));
    EXPECT_EQ(*frameOf(f), QRect(QPoint(0, 0), XTestSession::defaultSize));
}

TEST_F(WindowActionsTest, raiseFocusAndApplicationActivation)
{
    auto a = s.client({windowSpec(QStringLiteral("a0"), 100, 100), windowSpec(QStringLiteral("a1"), 200, 150)});
    auto b = s.client({windowSpec(QStringLiteral("b0"), 300, 200)});
    ASSERT_TRUE(a && b);
    const xcb_window_t a0 = a->window(0), a1 = a->window(1), b0 = b->window(0);

    const xcb_timestamp_t t1 = actions.serverTime();
    const xcb_timestamp_t t2 = actions.serverTime();
    EXPECT_NE(t1, XCB_CURRENT_TIME);
    EXPECT_GE(t2, t1);

    // Focus through _NET_ACTIVE_WINDOW, confirmed by the manager.
    ASSERT_TRUE(actions.focus(a0));
    EXPECT_EQ(active(), a0);
    ASSERT_TRUE(actions.focus(a1));
    ASSERT_TRUE(actions.focus(b0));
    EXPECT_EQ(active(), b0);
    ASSERT_TRUE(s.waitUntil([&] { return stackIndex(a0) < stackIndex(a1) && stackIndex(a1) < stackIndex(b0); }));

    // Raise alone does not move the focus.
    ASSERT_TRUE(actions.raise(a0));
    ASSERT_TRUE(s.waitUntil([&] { return stackIndex(a0) > stackIndex(b0); }));
    EXPECT_EQ(active(), b0);
    ASSERT_TRUE(actions.focus(b0));
    ASSERT_TRUE(s.waitUntil([&] { return stackIndex(b0) > stackIndex(a0); }));

    // The application's frontmost window only: the other stays behind b0.
    const qsizetype a0Before = stackIndex(a0) < stackIndex(a1) ? 0 : 1;
    const xcb_window_t aTop = a0Before == 0 ? a1 : a0, aBottom = a0Before == 0 ? a0 : a1;
    ASSERT_TRUE(actions.activateApplication(a->pid(), false));
    EXPECT_EQ(active(), aTop);
    ASSERT_TRUE(s.waitUntil([&] { return stackIndex(aTop) > stackIndex(b0); }));
    EXPECT_LT(stackIndex(aBottom), stackIndex(b0));

    // All its windows: both above b0, their order kept, the frontmost one active.
    ASSERT_TRUE(actions.focus(b0));
    ASSERT_TRUE(s.waitUntil([&] { return stackIndex(b0) > stackIndex(aTop); }));
    ASSERT_TRUE(actions.activateApplication(a->pid(), true));
    EXPECT_EQ(active(), aTop);
    ASSERT_TRUE(s.waitUntil([&] { return stackIndex(aBottom) > stackIndex(b0) && stackIndex(aTop) > stackIndex(b0); }));
    EXPECT_LT(stackIndex(aBottom), stackIndex(aTop));

    // Nothing to activate for a process without windows.
    EXPECT_FALSE(actions.activateApplication(static_cast<std::int32_t>(::getpid()) + 100000, true));
}

TEST_F(WindowActionsTest, aWindowThatVanishesMidOperationCrashesNothing)
{
    auto keeper = s.client({windowSpec(QStringLiteral("keeper"), 600, 400)});
    ASSERT_TRUE(keeper);
    for (int round = 0; round < 6; ++round) {
        auto doomed = s.client({windowSpec(QStringLiteral("doomed"), 100, 100, round % 2 ? QStringList{QStringLiteral("maximized")} : QStringList{})});
        ASSERT_TRUE(doomed);
        const xcb_window_t w = doomed->window(0);
        // The close is asked for and not awaited: it lands somewhere inside the calls below.
        ASSERT_TRUE(doomed->process().writeLine(QStringLiteral("close 0")));
        switch (round % 3) {
        case 0: (void)actions.setFrame(w, QRectF(10, 10, 300, 200)); break;
        case 1: (void)actions.activateApplication(doomed->pid(), true); break;
        default: (void)actions.focus(w); (void)actions.raise(w); break;
        }
        ASSERT_TRUE(s.waitUntil([&] { return !s.x().windowExists(w); }));
        // Gone for certain now: every operation says so.
        EXPECT_FALSE(actions.setFrame(w, QRectF(10, 10, 300, 200)));
        EXPECT_FALSE(actions.setPosition(w, QPointF(1, 1)));
        EXPECT_FALSE(actions.raise(w));
        EXPECT_FALSE(actions.focus(w));
    }
    // A process killed outright, between listing and acting.
    auto killed = s.client({windowSpec(QStringLiteral("killed"), 100, 100)});
    ASSERT_TRUE(killed);
    const xcb_window_t k = killed->window(0);
    ::kill(killed->pid(), SIGKILL);
    (void)actions.setFrame(k, QRectF(20, 20, 200, 200));
    (void)actions.activateApplication(killed->pid(), true);

    EXPECT_FALSE(s.desktop().connection().isBroken());
    const auto applied = actions.setFrame(keeper->window(0), QRectF(500, 300, 400, 300));
    ASSERT_TRUE(applied);
    EXPECT_EQ(*frameOf(keeper->window(0)), QRect(500, 300, 400, 300));
}

// Requests sent on the reader's connection between two points: a no-op request's sequence number counts them.
TEST_F(WindowActionsTest, oneReactionReadsTheDesktopOnceAndOurOwnMovesAreReadAfresh)
{
    auto client = s.client({windowSpec(QStringLiteral("batched"), 100, 100)});
    ASSERT_TRUE(client);
    const xcb_window_t w = client->window(0);
    ASSERT_TRUE(actions.activateApplication(client->pid(), false));
    xcb_connection_t* c = s.desktop().connection().xcb();
    auto requestsDuring = [c](const std::function<void()>& reads) {
        const unsigned before = xcb_no_operation(c).sequence;
        reads();
        return xcb_no_operation(c).sequence - before - 1;
    };
    const WindowList& list = s.desktop().windowList();
    Accessibility& ax = s.desktop().accessibility();
    auto readEverything = [&] {
        ASSERT_TRUE(list.onScreenWindows());
        const auto focused = ax.elementAttribute(ax.applicationElement(client->pid()), AXAttr::focusedWindow);
        ASSERT_TRUE(focused);
        ASSERT_TRUE(ax.position(*focused));
        ASSERT_TRUE(s.desktop().workspace().frontmostApplication());
    };

    EXPECT_GT(requestsDuring(readEverything), 0u);
    list.beginReadBatch();
    EXPECT_GT(requestsDuring(readEverything), 0u);
    // Asked again within the same reaction: answered from what was read.
    EXPECT_EQ(requestsDuring(readEverything), 0u);

    // Our own move inside the reaction is seen by the reads after it.
    const auto moved = actions.setPosition(w, QPointF(420, 260));
    ASSERT_TRUE(moved);
    const auto focused = ax.elementAttribute(ax.applicationElement(client->pid()), AXAttr::focusedWindow);
    ASSERT_TRUE(focused);
    EXPECT_EQ(ax.position(*focused), std::optional<QPointF>(moved->topLeft()));
    list.endReadBatch();

    // Outside a reaction every read goes to the server again.
    EXPECT_GT(requestsDuring(readEverything), 0u);
    EXPECT_EQ(ax.position(*focused), std::optional<QPointF>(moved->topLeft()));
}

// Managers that prevent focus stealing judge an activation by its time: the user's press that asked for it goes
// along as it is, with no round trip to learn the server's time first. Seen by a client of its own that watches
// the key's raw press and the request on its way to the manager.
TEST_F(WindowActionsTest, anActivationRightAfterAPressCarriesThatPressesTime)
{
    auto client = s.client({windowSpec(QStringLiteral("pressed-for"), 120, 120)});
    auto other = s.client({windowSpec(QStringLiteral("other"), 400, 300)});
    ASSERT_TRUE(client && other);
    ASSERT_TRUE(s.activate(other->window(0)));

    xcb_connection_t* witness = xcb_connect(s.display().toLocal8Bit().constData(), nullptr);
    const std::unique_ptr<xcb_connection_t, void (*)(xcb_connection_t*)> closeWitness(witness, xcb_disconnect);
    ASSERT_FALSE(xcb_connection_has_error(witness));
    const xcb_window_t root = s.x().root();
    const std::uint32_t substructure = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(witness, root, XCB_CW_EVENT_MASK, &substructure);
    const xcb_query_extension_reply_t* xinput = xcb_get_extension_data(witness, &xcb_input_id);
    ASSERT_TRUE(xinput && xinput->present);
    struct {
        xcb_input_event_mask_t head;
        std::uint32_t mask;
    } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS};
    xcb_input_xi_select_events(witness, root, 1, &selection.head);
    std::free(xcb_get_input_focus_reply(witness, xcb_get_input_focus(witness), nullptr));  // selections in place

    std::optional<xcb_timestamp_t> pressed;
    std::optional<xcb_timestamp_t> requestTime;
    const xcb_atom_t activeWindow = s.x().atom("_NET_ACTIVE_WINDOW");
    auto readWitness = [&] {
        while (xcb_generic_event_t* e = xcb_poll_for_event(witness)) {
            const auto* ge = reinterpret_cast<const xcb_ge_generic_event_t*>(e);
            if ((e->response_type & 0x7f) == XCB_GE_GENERIC && ge->extension == xinput->major_opcode
                && ge->event_type == XCB_INPUT_RAW_KEY_PRESS)
                pressed = reinterpret_cast<const xcb_input_raw_key_press_event_t*>(e)->time;
            const auto* m = reinterpret_cast<const xcb_client_message_event_t*>(e);
            if ((e->response_type & 0x7f) == XCB_CLIENT_MESSAGE && m->type == activeWindow
                && m->window == client->window(0))
                requestTime = m->data.data32[1];
            std::free(e);
        }
    };
    X11Connection& ours = s.desktop().connection();
    ASSERT_TRUE(s.tool({QStringLiteral("xdotool"), QStringLiteral("key"), QStringLiteral("shift")}));
    ASSERT_TRUE(s.waitUntil([&] {
        readWitness();
        ours.dispatchPendingEvents();
        return pressed && ours.recentInputTime(std::chrono::seconds(1)) == pressed;
    }));

    ASSERT_TRUE(actions.focus(client->window(0)));
    EXPECT_EQ(active(), client->window(0));
    ASSERT_TRUE(s.waitUntil([&] { return readWitness(), requestTime.has_value(); }));
    EXPECT_EQ(*requestTime, *pressed);
}

// The switcher's activation does not hold the main thread until the manager answers: with the manager held still,
// the request is made and the call returns at once, where waiting would run out its time; the window comes
// forward as soon as the manager runs again.
TEST_F(WindowActionsTest, anActivationConfirmedLaterReturnsOnceAskedAndTheWindowStillComesForward)
{
    auto client = s.client({windowSpec(QStringLiteral("later"), 120, 120)});
    auto other = s.client({windowSpec(QStringLiteral("meanwhile"), 400, 300)});
    ASSERT_TRUE(client && other);
    ASSERT_TRUE(s.activate(other->window(0)));
    const pid_t manager = s.windowManagerPid();
    ASSERT_GT(manager, 0);
    actions.setManagerTimeout(std::chrono::milliseconds(1500));

    ASSERT_EQ(::kill(manager, SIGSTOP), 0);
    const auto started = std::chrono::steady_clock::now();
    const bool sent =
        actions.activateApplication(client->pid(), false, X11WindowActions::Confirmation::later);
    const auto took = std::chrono::steady_clock::now() - started;
    const xcb_window_t activeWhileStopped = active();
    ASSERT_EQ(::kill(manager, SIGCONT), 0);
    EXPECT_TRUE(sent);
    EXPECT_LT(took, std::chrono::milliseconds(1000)) << "the call waited for the stopped manager";
    EXPECT_EQ(activeWhileStopped, other->window(0));
    EXPECT_TRUE(s.waitUntil([&] { return active() == client->window(0); }));

    // Waiting, against the same stopped manager, takes the whole time and says it did not happen.
    ASSERT_TRUE(s.activate(other->window(0)));
    ASSERT_EQ(::kill(manager, SIGSTOP), 0);
    const auto waitStarted = std::chrono::steady_clock::now();
    const bool confirmed = actions.activateApplication(client->pid(), false, X11WindowActions::Confirmation::wait);
    const auto waited = std::chrono::steady_clock::now() - waitStarted;
    ASSERT_EQ(::kill(manager, SIGCONT), 0);
    EXPECT_FALSE(confirmed);
    EXPECT_GE(waited, std::chrono::milliseconds(1500));
    // A process without windows: nothing to ask for.
    EXPECT_FALSE(actions.activateApplication(static_cast<std::int32_t>(::getpid()) + 100000, true,
                                             X11WindowActions::Confirmation::later));
}
