// Inactive apps end to end: the real tamsinvale, run 100 hours ahead of the real clock with libfaketime, so that
// an xterm and test clients started just before it have been idle for 100 hours while another window is in
// front. `tamsinvale inactive` lists them; the window opened through `tamsinvale ctl` shows them and takes the
// keyboard, giving it back when it closes; Quit All closes them through close requests; a window that refuses is reported, never killed.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <unistd.h>

#include "ChildProcess.h"
#include "ProgramRun.h"
#include "X11TestPaths.h"
#include "XTestSession.h"
#include "XTools.h"
#include "platform/x11/X11Desktop.h"
#include "platform/x11/X11Workspace.h"

using namespace tamsinvale::x11test;
using namespace std::chrono_literals;

namespace {

const QString panelTitle = QStringLiteral("Tamsinvale Inactive Apps");
const QStringList hundredHoursAhead{"faketime", "-f", "+100h"};

QString artifactsDir()
{
    const QString dir =
        qEnvironmentVariable("TAMSINVALE_ARTIFACTS_DIR", QStringLiteral(TAMSINVALE_INACTIVE_ARTIFACTS));
    QDir().mkpath(dir);
    return dir;
}

void screenshot(XTestSession& s, const QString& name)
{
    s.tool({"import", "-window", "root", artifactsDir() + "/" + name + ".png"});
}

// The instance under test, 100 hours ahead: its own session bus and configuration, its log in the artifacts.
class Tamsinvale {
public:
    explicit Tamsinvale(XTestSession& s) : m_session(s)
    {
        env = QStringList{"DISPLAY=" + s.display(), "DBUS_SESSION_BUS_ADDRESS=" + m_bus.address,
                          "XDG_CONFIG_HOME=" + m_config.path(), "XDG_DATA_HOME=" + QFileInfo(s.applicationsDir()).path(),
                          "XDG_DATA_DIRS=/usr/local/share:/usr/share", "LC_ALL=C.UTF-8", "TAMSINVALE_VERBOSE=1"};
        // libfaketime is preloaded ahead of a sanitized build's runtime; it only wraps the clock functions, so
        // the runtime may come second.
        const QString sanitizerOptions = qEnvironmentVariable("ASAN_OPTIONS");
        env << "ASAN_OPTIONS=" + sanitizerOptions + (sanitizerOptions.isEmpty() ? "" : ":") + "verify_asan_link_order=0";
        // One log per test: the tests of this file run side by side.
        m_log = artifactsDir() + "/tamsinvale-" +
            QString::fromUtf8(::testing::UnitTest::GetInstance()->current_test_info()->name()) + ".log";
        QFile::remove(m_log);
    }
    ~Tamsinvale()
    {
        if (m_process && m_process->running()) {
            runWith(env, {tamsinvalePath, "ctl", "quit"});
            m_process->waitForExit(10s);
        }
    }
    bool start()
    {
        m_process = ChildProcess::start(
            QStringList{"sh", "-c", "exec \"$@\" > \"$0\" 2>&1", m_log} + hundredHoursAhead + QStringList{tamsinvalePath},
            env);
        return m_process && m_session.waitUntil([&] { return log().contains("tamsinvale.app: started:"); }, 20s);
    }
    QString log() const
    {
        QFile f(m_log);
        return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
    }
    bool waitForLog(const QString& text, std::chrono::milliseconds timeout = 10s)
    {
        return m_session.waitUntil([&] { return log().contains(text); }, timeout);
    }
    // A command of ours, 100 hours ahead too; standard output only.
    ToolRun command(const QStringList& args)
    {
        return runWith(env, QStringList{"sh", "-c", "exec \"$@\" 2>/dev/null", "sh"} + hundredHoursAhead
                                + QStringList{tamsinvalePath} + args);
    }
    bool running() { return m_process && m_process->running(); }
    pid_t pid() const { return m_process ? m_process->pid() : -1; }

    QStringList env;

private:
    XTestSession& m_session;
    QTemporaryDir m_config;
    SessionBus m_bus;
    QString m_log;
    std::unique_ptr<ChildProcess> m_process;
};

std::optional<xcb_window_t> panelWindow(XTestSession& s)
{
    const auto found = s.tool({"xdotool", "search", "--name", "^" + panelTitle + "$"});
    if (!found)
        return std::nullopt;
    for (const QString& id : found->split('\n', Qt::SkipEmptyParts)) {
        const auto info = s.tool({"xwininfo", "-id", id.trimmed()});
        if (info && info->contains("IsViewable"))
            return id.trimmed().toUInt();
    }
    return std::nullopt;
}

QSet<int> listedPids(const QByteArray& json)
{
    QSet<int> pids;
    for (const QJsonValue& app : QJsonDocument::fromJson(json).object().value("apps").toArray())
        pids.insert(app.toObject().value("pid").toInt());
    return pids;
}

WindowSpec window(const QString& title, const QString& windowClass, int x, int y, bool ignoresDelete = false)
{
    WindowSpec w;
    w.title = title;
    w.windowClass = windowClass;
    w.instance = windowClass.toLower();
    w.x = x;
    w.y = y;
    w.width = 360;
    w.height = 240;
    w.ignoresDelete = ignoresDelete;
    return w;
}

}  // namespace

TEST(InactiveEndToEnd, idleAppsAreListedShownAndAskedToQuitNeverKilled)
{
    XTestSession& s = XTestSession::get();
    // The primary monitor is the right one, away from the root's origin.
    ASSERT_TRUE(s.x().setMonitors({{"L", QRect(0, 0, 800, 1080), false}, {"P", QRect(800, 0, 1120, 1080), true}}));

    // Started on the real clock: 100 hours before the time Tamsinvale will see.
    auto xterm = s.application({"xterm", "-title", "idle-xterm", "-geometry", "60x12+840+80"});
    ASSERT_TRUE(xterm);
    ASSERT_TRUE(s.clientWindowOf("XTerm"));
    auto idle = s.client({window("Idle Notes", "IdleNotes", 900, 400)});
    ASSERT_TRUE(idle);
    auto stubborn = s.client({window("Unsaved Draft", "UnsavedDraft", 1000, 500, true)});
    ASSERT_TRUE(stubborn);
    auto front = s.client({window("Work In Front", "WorkInFront", 1200, 200)});
    ASSERT_TRUE(front);
    ASSERT_TRUE(s.activate(front->window(0)));

    Tamsinvale app(s);
    ASSERT_TRUE(app.start()) << app.log().toStdString();
    ASSERT_TRUE(app.waitForLog("tamsinvale.inactive: usage tracking started")) << app.log().toStdString();

    // The command lists the three idle ones, and not the one in front.
    const ToolRun listed = app.command({"inactive", "--hours", "72", "--json"});
    ASSERT_EQ(listed.exitCode, 0) << listed.output.toStdString();
    const QSet<int> pids = listedPids(listed.output.toUtf8());
    EXPECT_TRUE(pids.contains(int(xterm->pid()))) << listed.output.toStdString();
    EXPECT_TRUE(pids.contains(int(idle->pid()))) << listed.output.toStdString();
    EXPECT_TRUE(pids.contains(int(stubborn->pid()))) << listed.output.toStdString();
    EXPECT_FALSE(pids.contains(int(front->pid()))) << listed.output.toStdString();
    EXPECT_TRUE(listed.output.contains("\"lastActiveRelative\": \"4 days ago\"")) << listed.output.toStdString();
    // Not a week yet.
    EXPECT_TRUE(app.command({"inactive", "--hours", "168"}).output.contains("No apps have been inactive for 1 week"));

    // The window, opened from the command line, on the primary monitor, over every desktop.
    ASSERT_EQ(runWith(app.env, {tamsinvalePath, "ctl", "close-inactive-apps"}).exitCode, 0);
    std::optional<xcb_window_t> panel;
    ASSERT_TRUE(s.waitUntil([&] { return (panel = panelWindow(s)).has_value(); }, 10s)) << "the window did not appear";
    ASSERT_TRUE(app.waitForLog("tamsinvale.inactive: window: first paint"));
    ASSERT_TRUE(app.waitForLog("tamsinvale.inactive: window: shown with 3 apps inactive for more than 48 hours"))
        << app.log().toStdString();
    ASSERT_TRUE(s.waitUntil([&] {
        const auto clients = xtools::rootWindowList("_NET_CLIENT_LIST");
        return clients && clients->contains(*panel);
    }));
    // It takes the keyboard at once: Escape, Shift still held, closes it without a click, and the focus goes back
    // to the window the user was in.
    ASSERT_TRUE(s.waitUntil([&] { return xtools::activeWindow() == panel; })) << "the window did not take the focus";
    ASSERT_TRUE(s.tool({"xdotool", "key", "shift+Escape"}));
    ASSERT_TRUE(s.waitUntil([&] { return !panelWindow(s); }, 10s)) << "Escape did not close the window";
    EXPECT_TRUE(s.waitUntil([&] { return xtools::activeWindow() == front->window(0); }))
        << "closing the window did not give the focus back";
    ASSERT_EQ(runWith(app.env, {tamsinvalePath, "ctl", "close-inactive-apps"}).exitCode, 0);
    ASSERT_TRUE(s.waitUntil([&] { return (panel = panelWindow(s)).has_value(); }, 10s)) << "the window did not reappear";
    ASSERT_TRUE(s.waitUntil([&] { return xtools::activeWindow() == panel; }));
    const auto state = xtools::property(*panel, "_NET_WM_STATE");
    ASSERT_TRUE(state);
    // On every desktop: the manager keeps it on "all desktops" (Openbox does so without a sticky state).
    EXPECT_EQ(xtools::property(*panel, "_NET_WM_DESKTOP").value_or(QString()).trimmed(), "4294967295");
    EXPECT_TRUE(state->contains("_NET_WM_STATE_ABOVE")) << state->toStdString();
    EXPECT_TRUE(state->contains("_NET_WM_STATE_SKIP_TASKBAR")) << state->toStdString();
    const auto geometry = xtools::geometry(*panel);
    ASSERT_TRUE(geometry);
    EXPECT_NEAR(geometry->center().x(), 800 + 560, 2) << "centred on the primary monitor";
    EXPECT_GE(geometry->top(), 0);
    EXPECT_LE(geometry->bottom(), 1080);
    screenshot(s, "inactive-apps-window");
    // Its own window does not make Tamsinvale an application to quit.
    EXPECT_FALSE(listedPids(app.command({"inactive", "--hours", "1", "--json"}).output.toUtf8()).contains(int(app.pid())));
    // The window alone, with a little of the desktop around it, for the README.
    const QRect around = geometry->adjusted(-24, -24, 24, 24);
    s.tool({"import", "-window", "root", "-crop",
            QStringLiteral("%1x%2+%3+%4").arg(around.width()).arg(around.height()).arg(around.x()).arg(around.y()),
            artifactsDir() + "/inactive-apps-window-alone.png"});

    // Quit All (bottom right): close requests through the window manager.
    const QPoint quitAll(geometry->right() - 16 - 30, geometry->bottom() - 14 - 14);
    ASSERT_TRUE(s.tool({"xdotool", "mousemove", QString::number(quitAll.x()), QString::number(quitAll.y()), "click", "1"}));
    const auto idleSaw = idle->process().readLineStartingWith("delete-window", 10s);
    ASSERT_TRUE(idleSaw) << "the test client got no close request\n" << app.log().toStdString();
    EXPECT_EQ(*idleSaw, "delete-window 0 closing");
    EXPECT_TRUE(idle->process().waitForExit(10s));
    EXPECT_TRUE(xterm->waitForExit(10s)) << "xterm did not close";
    const auto stubbornSaw = stubborn->process().readLineStartingWith("delete-window", 10s);
    ASSERT_TRUE(stubbornSaw);
    EXPECT_EQ(*stubbornSaw, "delete-window 0 ignored");

    // The one that stays is reported after 10 seconds, and left running.
    ASSERT_TRUE(app.waitForLog(QStringLiteral("pid %1 did not quit within 10 s").arg(stubborn->pid()), 20s))
        << app.log().toStdString();
    EXPECT_TRUE(app.waitForLog(QStringLiteral("pid %1 has quit").arg(idle->pid())));
    EXPECT_TRUE(stubborn->process().running());
    EXPECT_TRUE(s.x().windowExists(stubborn->window(0)));
    EXPECT_TRUE(front->process().running());
    screenshot(s, "inactive-apps-still-running");

    // After the clicks the window still has the focus; Escape (Shift held) closes it.
    ASSERT_TRUE(s.waitUntil([&] { return xtools::activeWindow() == panel; })) << "the window lost the focus";
    ASSERT_TRUE(s.tool({"xdotool", "key", "shift+Escape"}));
    EXPECT_TRUE(s.waitUntil([&] { return !panelWindow(s); }, 10s)) << "Escape did not close the window";
    EXPECT_TRUE(app.waitForLog("tamsinvale.inactive: window: closed"));
    EXPECT_TRUE(app.running());

    s.resetMonitors();
}

// The X11 side of quitting on its own: every window of the application is asked through the window manager; an
// application whose windows cannot be asked (no WM_DELETE_WINDOW, which a manager answers by killing the client)
// is not asked at all, and stays.
TEST(InactiveEndToEnd, requestQuitAsksEachWindowAndNeverOneThatCanOnlyBeKilled)
{
    XTestSession& s = XTestSession::get();
    tamsinvale::X11Workspace& workspace = s.desktop().workspace();
    WindowSpec second = window("Second Window", "TwoWindows", 500, 300);
    auto two = s.client({window("First Window", "TwoWindows", 300, 200), second});
    ASSERT_TRUE(two);
    WindowSpec plain = window("No Close Protocol", "NoCloseProtocol", 600, 400);
    plain.supportsDelete = false;
    auto noProtocol = s.client({plain});
    ASSERT_TRUE(noProtocol);

    EXPECT_FALSE(workspace.requestQuit(noProtocol->pid()));
    EXPECT_TRUE(workspace.requestQuit(two->pid()));
    QSet<QString> asked;
    for (int i = 0; i < 2; ++i)
        if (const auto line = two->process().readLineStartingWith("delete-window", 10s))
            asked.insert(*line);
    EXPECT_EQ(asked, (QSet<QString>{"delete-window 0 closing", "delete-window 1 closing"}));
    EXPECT_TRUE(two->process().waitForExit(10s));
    // Once the other client is gone (the manager has handled everything sent before), the one without the
    // protocol is still there: nothing killed it.
    EXPECT_TRUE(noProtocol->process().running());
    EXPECT_TRUE(s.x().windowExists(noProtocol->window(0)));
    EXPECT_FALSE(workspace.requestQuit(int(::getpid())));
}
