// Focus dimming on a real X server: the tamsinvale binary with two monitors and test clients, its overlays read
// back from the server's stacking order after each activation, full screen, quick dim and clearing screens.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QTemporaryDir>

#include "ChildProcess.h"
#include "ProgramRun.h"
#include "X11TestPaths.h"
#include "XTestSession.h"
#include "XTools.h"

#include <xcb/shape.h>
#include <xcb/xcb.h>

using namespace tamsinvale::x11test;
using namespace std::chrono_literals;

namespace {

constexpr QRect leftMonitor(0, 0, 960, 1080);
constexpr QRect rightMonitor(960, 0, 960, 1080);

QString artifactsDir()
{
    const QString dir = qEnvironmentVariable("TAMSINVALE_ARTIFACTS_DIR", QStringLiteral(TAMSINVALE_DIM_ARTIFACTS));
    QDir().mkpath(dir);
    return dir;
}

// What a person would see, kept for looking at; never compared.
void screenshot(XTestSession& s, const QString& name)
{
    runTool({"import", "-display", s.display(), "-window", "root", artifactsDir() + "/" + name + ".png"}, 20s);
}

// The instance under test: a private session bus, a temporary configuration, its log in the artifacts.
class Tamsinvale {
public:
    explicit Tamsinvale(XTestSession& s, const QString& logName, const QStringList& settings = {}) : m_session(s)
    {
        m_env = QStringList{"DISPLAY=" + s.display(), "DBUS_SESSION_BUS_ADDRESS=" + m_bus.address,
                            "XDG_CONFIG_HOME=" + m_config.path(), "XDG_DATA_HOME=" + m_config.path() + "/data",
                            "TAMSINVALE_VERBOSE=1"};
        for (int i = 0; i + 1 < settings.size(); i += 2)
            runWith(m_env, {tamsinvalePath, "settings", "set", settings[i], settings[i + 1]});
        // Named after the test as well: the tests of this file run side by side, and two of them may pick the
        // same name.
        m_log = artifactsDir() + "/" +
            QString::fromUtf8(::testing::UnitTest::GetInstance()->current_test_info()->name()) + "-" + logName +
            ".log";
        QFile::remove(m_log);
        m_process = ChildProcess::start({"sh", "-c", "exec \"$0\" > \"$1\" 2>&1", tamsinvalePath, m_log}, m_env);
    }
    ~Tamsinvale()
    {
        if (m_process && m_process->running()) {
            runWith(m_env, {tamsinvalePath, "ctl", "quit"});
            m_process->waitForExit(10s);
        }
    }
    bool started()
    {
        return m_process && m_session.waitUntil([&] { return log().contains("tamsinvale.app: started:"); }, 20s);
    }
    // Dimming is on by default and draws its overlays at start; a binary built without it logs nothing of it.
    bool dimmingBuiltIn() const { return log().contains("tamsinvale.dimming:"); }
    QString log() const
    {
        QFile f(m_log);
        return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
    }
    ToolRun ctl(const QString& action) { return runWith(m_env, {tamsinvalePath, "ctl", action}); }
    pid_t pid() const { return m_process ? m_process->pid() : -1; }

private:
    XTestSession& m_session;
    QTemporaryDir m_config;
    SessionBus m_bus;
    QStringList m_env;
    QString m_log;
    std::unique_ptr<ChildProcess> m_process;
};

// The server's view: root children bottom to top, our overlays among them, managed frames.
class Stack {
public:
    explicit Stack(XTestSession& s, pid_t ownerPid) : m_s(s), m_pid(uint32_t(ownerPid)) {}

    QList<xcb_window_t> children() const
    {
        QList<xcb_window_t> out;
        xcb_connection_t* c = m_s.x().xcb();
        auto* tree = xcb_query_tree_reply(c, xcb_query_tree(c, m_s.x().root()), nullptr);
        if (!tree)
            return out;
        const xcb_window_t* w = xcb_query_tree_children(tree);
        for (int i = 0; i < xcb_query_tree_children_length(tree); ++i)
            out.append(w[i]);
        std::free(tree);
        return out;
    }
    bool viewable(xcb_window_t w) const
    {
        xcb_connection_t* c = m_s.x().xcb();
        auto* a = xcb_get_window_attributes_reply(c, xcb_get_window_attributes(c, w), nullptr);
        const bool v = a && a->map_state == XCB_MAP_STATE_VIEWABLE;
        std::free(a);
        return v;
    }
    QRect geometry(xcb_window_t w) const
    {
        xcb_connection_t* c = m_s.x().xcb();
        auto* g = xcb_get_geometry_reply(c, xcb_get_geometry(c, w), nullptr);
        const QRect r = g ? QRect(g->x, g->y, g->width, g->height) : QRect();
        std::free(g);
        return r;
    }
    // The visible focus overlay on a monitor: one of ours, override-redirect, on that monitor, at the normal level
    // (menu bar strips are short strips along the top).
    std::optional<xcb_window_t> overlayOn(const QRect& monitor) const
    {
        for (const xcb_window_t w : children()) {
            const QList<uint32_t> pid = m_s.x().cardinals(w, "_NET_WM_PID");
            if (pid.isEmpty() || pid.first() != m_pid || !viewable(w))
                continue;
            const QRect g = geometry(w);
            if (monitor.contains(g.center()) && g.height() > monitor.height() / 2)
                return w;
        }
        return std::nullopt;
    }
    int visibleOverlays() const
    {
        return int(overlayOn(leftMonitor).has_value()) + int(overlayOn(rightMonitor).has_value());
    }
    bool directlyBelow(const QRect& monitor, xcb_window_t client) const
    {
        const auto overlay = overlayOn(monitor);
        if (!overlay)
            return false;
        const xcb_window_t frame = m_s.x().topLevelAncestor(client);
        const QList<xcb_window_t> order = children();
        const auto at = order.indexOf(*overlay);
        if (at >= 0 && at + 1 < order.size() && order[at + 1] == frame)
            return true;
        // Where the manager defeats that stacking (Metacity, i3), the overlay stands above with the frame cut out.
        return at > order.indexOf(frame) && order.indexOf(frame) >= 0 && cutOutAround(*overlay, geometry(frame));
    }
    bool cutOutAround(xcb_window_t overlay, const QRect& frame) const
    {
        xcb_connection_t* c = m_s.x().xcb();
        auto* r = xcb_shape_get_rectangles_reply(c, xcb_shape_get_rectangles(c, overlay, XCB_SHAPE_SK_BOUNDING), nullptr);
        if (!r)
            return false;
        const QPoint origin = geometry(overlay).topLeft();
        const xcb_rectangle_t* rects = xcb_shape_get_rectangles_rectangles(r);
        bool over = false;
        for (int i = 0; i < xcb_shape_get_rectangles_rectangles_length(r); ++i)
            over = over || QRect(rects[i].x, rects[i].y, rects[i].width, rects[i].height).translated(origin).intersects(frame);
        std::free(r);
        return !over;
    }
    // Above every managed window's frame: the monitor is covered whatever it holds.
    bool coversAll(const QRect& monitor) const
    {
        const auto overlay = overlayOn(monitor);
        if (!overlay)
            return false;
        const QList<xcb_window_t> order = children();
        const auto at = order.indexOf(*overlay);
        for (const xcb_window_t client : m_s.stackingBottomToTop())
            if (order.indexOf(m_s.x().topLevelAncestor(client)) > at)
                return false;
        return true;
    }
    // Which client window, if any, sits right above the monitor's overlay (for failure messages).
    QString describe(const QRect& monitor) const
    {
        const auto overlay = overlayOn(monitor);
        if (!overlay)
            return QStringLiteral("no visible overlay");
        const QList<xcb_window_t> order = children();
        const auto at = order.indexOf(*overlay);
        if (at + 1 >= order.size())
            return QStringLiteral("overlay 0x%1 is topmost").arg(*overlay, 0, 16);
        return QStringLiteral("overlay 0x%1 below 0x%2").arg(*overlay, 0, 16).arg(order[at + 1], 0, 16);
    }

private:
    XTestSession& m_s;
    uint32_t m_pid;
};

WindowSpec windowSpec(const QString& title, int x, int y)
{
    WindowSpec w;
    w.title = title;
    w.x = x;
    w.y = y;
    w.width = 560;
    w.height = 420;
    return w;
}

// Asks the window manager to activate a window, as a pager would, and waits until it has.
bool activate(XTestSession& s, xcb_window_t window)
{
    const xcb_atom_t active = s.x().atom("_NET_ACTIVE_WINDOW");
    xcb_client_message_event_t m{};
    m.response_type = XCB_CLIENT_MESSAGE;
    m.format = 32;
    m.window = window;
    m.type = active;
    m.data.data32[0] = 2;  // source: pager, so the manager does not second-guess it
    xcb_send_event(s.x().xcb(), 0, s.x().root(), XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&m));
    xcb_flush(s.x().xcb());
    return s.waitUntil([&] {
        const QList<uint32_t> now = s.x().cardinals(s.x().root(), "_NET_ACTIVE_WINDOW");
        return !now.isEmpty() && now.first() == window;
    }, 5s);
}

// Full screen through the window manager, as a client's own request would ask for it.
void setFullScreen(XTestSession& s, xcb_window_t window, bool on)
{
    xcb_client_message_event_t m{};
    m.response_type = XCB_CLIENT_MESSAGE;
    m.format = 32;
    m.window = window;
    m.type = s.x().atom("_NET_WM_STATE");
    m.data.data32[0] = on ? 1 : 0;
    m.data.data32[1] = s.x().atom("_NET_WM_STATE_FULLSCREEN");
    m.data.data32[3] = 1;
    xcb_send_event(s.x().xcb(), 0, s.x().root(), XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT | XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY,
                   reinterpret_cast<const char*>(&m));
    xcb_flush(s.x().xcb());
}

QString wallpaper(const QTemporaryDir& dir)
{
    QImage image(1920, 1080, QImage::Format_RGB32);
    QPainter p(&image);
    QLinearGradient g(0, 0, 1920, 1080);
    g.setColorAt(0, QColor(40, 90, 160));
    g.setColorAt(1, QColor(220, 140, 60));
    p.fillRect(image.rect(), g);
    p.end();
    const QString path = dir.filePath("wallpaper.png");
    image.save(path);
    return path;
}

// Two monitors side by side, the left one primary; "mail" has a window on each, "notes" one on the left.
struct TwoMonitorDesktop {
    XTestSession& s = XTestSession::get();
    std::unique_ptr<TestClient> mail;
    std::unique_ptr<TestClient> notes;
    xcb_window_t mailLeft = 0, mailRight = 0, notesLeft = 0;

    void setUp()
    {
        ASSERT_TRUE(s.x().setMonitors({{"L", leftMonitor, true}, {"R", rightMonitor, false}}));
        mail = s.client({windowSpec("mail-left", 80, 120), windowSpec("mail-right", 1100, 160)});
        ASSERT_TRUE(mail) << "the first test client did not come up";
        notes = s.client({windowSpec("notes-left", 300, 300)});
        ASSERT_TRUE(notes) << "the second test client did not come up";
        mailLeft = mail->window(0);
        mailRight = mail->window(1);
        notesLeft = notes->window(0);
        // A tiling manager opens each window on the monitor with the focus; its user moves them.
        ASSERT_TRUE(s.moveToMonitor(mailLeft, QStringLiteral("L")));
        ASSERT_TRUE(s.moveToMonitor(notesLeft, QStringLiteral("L")));
        ASSERT_TRUE(s.moveToMonitor(mailRight, QStringLiteral("R")));
    }
};

}  // namespace

TEST(DimmingEndToEnd, afterEachActivationEveryMonitorsOverlayIsDirectlyBelowTheWindowTheRulesChoose)
{
    TwoMonitorDesktop d;
    ASSERT_NO_FATAL_FAILURE(d.setUp());
    QTemporaryDir pictures;
    const QString picture = wallpaper(pictures);
    Tamsinvale app(d.s, "activations",
                   {"focusDimBackgroundImageBookmark", "\"" + QString::fromLatin1(picture.toUtf8().toBase64()) + "\"",
                    "focusDimWallpaperDarkening", "0.35"});
    ASSERT_TRUE(app.started()) << app.log().toStdString();
    Stack stack(d.s, app.pid());
    if (!d.s.waitUntil([&] { return stack.visibleOverlays() > 0; }, 5s) && !app.dimmingBuiltIn())
        GTEST_SKIP() << "this tamsinvale binary does not create the dimming services";
    auto settle = [&](const QRect& monitor, xcb_window_t window) {
        return d.s.waitUntil([&] { return stack.directlyBelow(monitor, window); }, 5s);
    };

    // mail active: each monitor's overlay under mail's window there.
    ASSERT_TRUE(activate(d.s, d.mailLeft));
    EXPECT_TRUE(settle(leftMonitor, d.mailLeft)) << stack.describe(leftMonitor).toStdString();
    EXPECT_TRUE(settle(rightMonitor, d.mailRight)) << stack.describe(rightMonitor).toStdString();
    screenshot(d.s, "activations-1-mail");

    // notes active: under its window on the left; it has none on the right, which keeps mail's window bright.
    ASSERT_TRUE(activate(d.s, d.notesLeft));
    EXPECT_TRUE(settle(leftMonitor, d.notesLeft)) << stack.describe(leftMonitor).toStdString();
    EXPECT_TRUE(settle(rightMonitor, d.mailRight)) << stack.describe(rightMonitor).toStdString();
    screenshot(d.s, "activations-2-notes");

    // mail active again through its right window: on the left its window is buried under notes, so the left
    // overlay keeps its anchor rather than uncovering notes.
    ASSERT_TRUE(activate(d.s, d.mailRight));
    EXPECT_TRUE(settle(rightMonitor, d.mailRight)) << stack.describe(rightMonitor).toStdString();
    EXPECT_TRUE(settle(leftMonitor, d.notesLeft)) << stack.describe(leftMonitor).toStdString();

    // Another window of the same application (no application change, only the focus): followed too.
    ASSERT_TRUE(activate(d.s, d.mailLeft));
    EXPECT_TRUE(settle(leftMonitor, d.mailLeft)) << stack.describe(leftMonitor).toStdString();
    EXPECT_TRUE(settle(rightMonitor, d.mailRight)) << stack.describe(rightMonitor).toStdString();
    screenshot(d.s, "activations-3-mail-again");

    // A window that closes while it is the anchor crashes nothing; the overlay finds the next one.
    ASSERT_TRUE(d.mail->closeWindow(1));
    EXPECT_TRUE(d.s.waitUntil([&] { return stack.overlayOn(rightMonitor).has_value(); }, 5s));
    ASSERT_TRUE(activate(d.s, d.notesLeft));
    EXPECT_TRUE(settle(leftMonitor, d.notesLeft)) << stack.describe(leftMonitor).toStdString();
    EXPECT_TRUE(app.log().contains("(source=")) << "no ordering decisions were logged";
}

TEST(DimmingEndToEnd, aFullScreenClientHidesTheOverlaysAndTheyComeBackWhenItLeavesFullScreen)
{
    TwoMonitorDesktop d;
    ASSERT_NO_FATAL_FAILURE(d.setUp());
    Tamsinvale app(d.s, "fullscreen");
    ASSERT_TRUE(app.started()) << app.log().toStdString();
    Stack stack(d.s, app.pid());
    if (!d.s.waitUntil([&] { return stack.visibleOverlays() > 0; }, 5s) && !app.dimmingBuiltIn())
        GTEST_SKIP() << "this tamsinvale binary does not create the dimming services";

    ASSERT_TRUE(activate(d.s, d.notesLeft));
    ASSERT_TRUE(d.s.waitUntil([&] { return stack.directlyBelow(leftMonitor, d.notesLeft); }, 5s))
        << stack.describe(leftMonitor).toStdString();

    setFullScreen(d.s, d.notesLeft, true);
    EXPECT_TRUE(d.s.waitUntil([&] { return stack.visibleOverlays() == 0; }, 5s))
        << "overlays still shown over a full-screen window";
    screenshot(d.s, "fullscreen-1-on");

    setFullScreen(d.s, d.notesLeft, false);
    EXPECT_TRUE(d.s.waitUntil([&] { return stack.visibleOverlays() == 2; }, 10s)) << app.log().toStdString();
    EXPECT_TRUE(d.s.waitUntil([&] { return stack.directlyBelow(leftMonitor, d.notesLeft); }, 5s))
        << stack.describe(leftMonitor).toStdString();
    EXPECT_TRUE(app.log().contains("fullscreen"));
    screenshot(d.s, "fullscreen-2-off");
}

TEST(DimmingEndToEnd, quickDimAndClearingInactiveScreensThroughTheCommandLine)
{
    TwoMonitorDesktop d;
    ASSERT_NO_FATAL_FAILURE(d.setUp());
    Tamsinvale app(d.s, "modes");
    ASSERT_TRUE(app.started()) << app.log().toStdString();
    Stack stack(d.s, app.pid());
    if (!d.s.waitUntil([&] { return stack.visibleOverlays() > 0; }, 5s) && !app.dimmingBuiltIn())
        GTEST_SKIP() << "this tamsinvale binary does not create the dimming services";
    ASSERT_TRUE(activate(d.s, d.mailLeft));
    ASSERT_TRUE(d.s.waitUntil([&] { return stack.directlyBelow(rightMonitor, d.mailRight); }, 5s))
        << stack.describe(rightMonitor).toStdString();

    // Quick dim with no app configured: the monitor being worked on stays, the other one is covered entirely.
    const ToolRun quick = app.ctl("quick-dim");
    ASSERT_EQ(quick.exitCode, 0) << quick.output.toStdString();
    EXPECT_TRUE(d.s.waitUntil([&] { return stack.coversAll(rightMonitor); }, 5s))
        << stack.describe(rightMonitor).toStdString();
    EXPECT_TRUE(stack.directlyBelow(leftMonitor, d.mailLeft)) << stack.describe(leftMonitor).toStdString();
    screenshot(d.s, "modes-1-quick-dim");

    // The clear-inactive-screens action turns the clearing off: mail's right window is bright again.
    ASSERT_EQ(app.ctl("clear-inactive-screens").exitCode, 0);
    EXPECT_TRUE(d.s.waitUntil([&] { return stack.directlyBelow(rightMonitor, d.mailRight); }, 5s))
        << stack.describe(rightMonitor).toStdString();

    // On again, then working on the other monitor ends it.
    ASSERT_EQ(app.ctl("clear-inactive-screens").exitCode, 0);
    EXPECT_TRUE(d.s.waitUntil([&] { return stack.coversAll(rightMonitor); }, 5s))
        << stack.describe(rightMonitor).toStdString();
    screenshot(d.s, "modes-2-clear-inactive-screens");
    ASSERT_TRUE(activate(d.s, d.mailRight));
    EXPECT_TRUE(d.s.waitUntil([&] { return stack.directlyBelow(rightMonitor, d.mailRight); }, 5s))
        << stack.describe(rightMonitor).toStdString();
    EXPECT_TRUE(d.s.waitUntil([&] { return stack.directlyBelow(leftMonitor, d.mailLeft); }, 5s))
        << stack.describe(leftMonitor).toStdString();
    EXPECT_TRUE(d.s.waitUntil([&] { return app.log().contains("ending clear-inactive-screens mode"); }, 5s))
        << app.log().toStdString();
    screenshot(d.s, "modes-3-after-focus-move");
}

TEST(DimmingEndToEnd, menuBarStripsNeverCoverAFullScreenWindowAndComeBackAfterIt)
{
    TwoMonitorDesktop d;
    ASSERT_NO_FATAL_FAILURE(d.setUp());
    // Translucent strips need a compositor; a panel along the left monitor's top edge is its menu bar.
    auto compositor = d.s.application({"xcompmgr"});
    ASSERT_TRUE(compositor);
    ASSERT_TRUE(d.s.waitUntil([&] { return d.s.x().selectionOwner("_NET_WM_CM_S0") != XCB_WINDOW_NONE; }));
    WindowSpec bar;
    bar.title = "top-panel";
    bar.type = "dock";
    bar.x = 0;
    bar.y = 0;
    bar.width = leftMonitor.width();
    bar.height = 28;
    bar.strutTop = 28;
    bar.strutTopEndX = leftMonitor.width() - 1;
    auto panel = d.s.client({bar});
    ASSERT_TRUE(panel);
    const QRect barRect(0, 0, leftMonitor.width(), 28);

    Tamsinvale app(d.s, "menubar-fullscreen", {"dimMenuBarEnabled", "true", "dimMenuBarOpacity", "0.5"});
    ASSERT_TRUE(app.started()) << app.log().toStdString();
    Stack stack(d.s, app.pid());
    auto strip = [&]() -> std::optional<xcb_window_t> {
        for (const xcb_window_t w : stack.children()) {
            const QList<uint32_t> pid = d.s.x().cardinals(w, "_NET_WM_PID");
            if (!pid.isEmpty() && pid.first() == uint32_t(app.pid()) && stack.viewable(w) && stack.geometry(w) == barRect)
                return w;
        }
        return std::nullopt;
    };
    auto above = [&](xcb_window_t ours, xcb_window_t client) {
        const QList<xcb_window_t> order = stack.children();
        return order.indexOf(ours) > order.indexOf(d.s.x().topLevelAncestor(client));
    };
    ASSERT_TRUE(d.s.waitUntil([&] { return strip().has_value(); }, 10s)) << app.log().toStdString();
    EXPECT_TRUE(above(*strip(), panel->window(0)));

    // A video goes full screen on that monitor and is activated (again and again): no dark band over its top.
    auto covered = [&] {
        const auto ours = strip();
        return ours && above(*ours, d.notesLeft);
    };
    auto activations = [&] { return app.log().count("didActivateApplication notification"); };
    ASSERT_TRUE(activate(d.s, d.notesLeft));
    setFullScreen(d.s, d.notesLeft, true);
    // Full screen over its monitor; xfwm4 knows the output's monitors only, not those set apart on one output,
    // and covers the whole output instead (both monitors here).
    ASSERT_TRUE(d.s.waitUntil([&] {
        const auto g = xtools::geometry(d.notesLeft);
        return g && g->topLeft() == leftMonitor.topLeft()
               && (g->size() == leftMonitor.size()
                   || (d.s.windowManagerIs(WindowManagerProcess::Kind::xfwm4) && g->size() == d.s.rootSize()));
    }));
    // Going full screen is no activation: the strip steps aside all the same.
    EXPECT_TRUE(d.s.waitUntil([&] { return !covered(); })) << "a menu bar strip covers the full-screen window";
    for (const int round : {1, 2}) {
        // Each activation is seen before the next one: two quick changes can reach the app as one read of
        // the active window, which finds the same application as before and announces nothing.
        const int beforeMail = activations();
        ASSERT_TRUE(activate(d.s, d.mailRight));
        ASSERT_TRUE(d.s.waitUntil([&] { return activations() > beforeMail; })) << app.log().toStdString();
        const int before = activations();
        ASSERT_TRUE(activate(d.s, d.notesLeft));
        ASSERT_TRUE(d.s.waitUntil([&] { return activations() > before; })) << app.log().toStdString();
        // Whatever the activation restacked has reached the server within this bound; it must not be a strip.
        EXPECT_FALSE(d.s.waitUntil(covered, 1s)) << "round " << round << ": a menu bar strip covers the full-screen window";
        if (round == 1)
            screenshot(d.s, "menubar-fullscreen-1-on");
    }

    // It leaves full screen (no activation): the strip is back over the panel.
    setFullScreen(d.s, d.notesLeft, false);
    EXPECT_TRUE(d.s.waitUntil([&] { return strip() && above(*strip(), panel->window(0)); }, 10s))
        << app.log().toStdString();
    screenshot(d.s, "menubar-fullscreen-2-off");
    compositor->stop();
}
