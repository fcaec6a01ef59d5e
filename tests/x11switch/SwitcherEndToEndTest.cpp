// The app switcher of the real tamsinvale on a real X server: the hotkey pressed through XTEST opens the panel
// with the keyboard taken, a key typed before the panel is up still counts, an unbound key beeps and keeps it
// open, Escape closes it, and one- and two-key bindings bring their targets forward.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <algorithm>
#include <iostream>

#include "ChildProcess.h"
#include "ProgramRun.h"
#include "X11TestPaths.h"
#include "XTestSession.h"
#include "XTools.h"
#include "platform/x11/X11Workspace.h"

#include <xcb/xcb.h>

using namespace tamsinvale::x11test;
using namespace std::chrono_literals;

namespace {

const QString panelTitle = QStringLiteral("Tamsinvale App Switcher");

QString artifactsDir()
{
    const QString dir = qEnvironmentVariable("TAMSINVALE_ARTIFACTS_DIR", QStringLiteral(TAMSINVALE_SWITCH_ARTIFACTS));
    QDir().mkpath(dir);
    return dir;
}

// The binary under test; another build's can be named for a local run.
QString binary()
{
    const QString chosen = qEnvironmentVariable("TAMSINVALE_BINARY");
    return chosen.isEmpty() ? QString::fromLocal8Bit(tamsinvalePath) : chosen;
}

// The instance under test: its own session bus and configuration, the session's applications.
class Tamsinvale {
public:
    explicit Tamsinvale(XTestSession& s) : m_session(s)
    {
        env = {"DISPLAY=" + s.display(), "DBUS_SESSION_BUS_ADDRESS=" + m_bus.address, "XDG_CONFIG_HOME=" + m_config.path(),
               "XDG_DATA_HOME=" + QFileInfo(s.applicationsDir()).path(), "XDG_DATA_DIRS=/usr/local/share:/usr/share",
               "XDG_CURRENT_DESKTOP=Openbox", "TAMSINVALE_VERBOSE=1"};
    }
    ~Tamsinvale()
    {
        // A failed test shows what the app said; otherwise a lost key leaves nothing to go on.
        if (::testing::Test::HasFailure() && !m_transcript.isEmpty())
            std::cerr << "--- what tamsinvale logged (read so far) ---\n" << m_transcript.join('\n').toStdString() << "\n";
        if (m_app && m_app->running()) {
            runWith(env, {binary(), "ctl", "quit"});
            m_app->waitForExit(10s, nullptr);
        }
    }

    ToolRun shortcuts(const QStringList& args) { return runWith(env, QStringList{binary(), "shortcuts"} + args); }

    // Starts it and reads its log up to the start line; false (with the reason) when the switcher is not in it.
    bool start(QString* why)
    {
        m_app = ChildProcess::start({"sh", "-c", "exec \"$0\" 2>&1", binary()}, env);
        if (!m_app) {
            *why = "could not start " + binary();
            return false;
        }
        bool installed = false;
        while (auto line = m_app->readLine(20s)) {
            m_transcript.append(*line);
            installed = installed || line->startsWith("tamsinvale.switcher: switcher: installed");
            if (line->startsWith("tamsinvale.app: started:"))
                break;
        }
        if (!installed)
            *why = "this build of tamsinvale does not wire the app switcher in (no \"switcher: installed\")";
        return installed;
    }
    bool waitForLog(const QString& text, std::chrono::milliseconds timeout = 10s)
    {
        const QString wanted = "tamsinvale.switcher: " + text;
        const auto deadline = std::chrono::steady_clock::now() + timeout;
        while (std::chrono::steady_clock::now() < deadline) {
            const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
            const auto line = m_app->readLine(std::max(left, 1ms));
            if (!line)
                return false;
            m_transcript.append(*line);
            if (line->startsWith(wanted))
                return true;
        }
        return false;
    }

    QStringList env;

private:
    XTestSession& m_session;
    QTemporaryDir m_config;
    SessionBus m_bus;
    std::unique_ptr<ChildProcess> m_app;
    QStringList m_transcript;
};

bool panelViewable(XTestSession& s)
{
    const auto found = s.tool({"xdotool", "search", "--name", "^" + panelTitle + "$"});
    if (!found)
        return false;
    for (const QString& id : found->split('\n', Qt::SkipEmptyParts)) {
        const auto info = s.tool({"xwininfo", "-id", id.trimmed()});
        if (info && info->contains("IsViewable"))
            return true;
    }
    return false;
}

bool press(XTestSession& s, const QStringList& keys, int delayMs = 0)
{
    return s.tool(QStringList{"xdotool", "key", "--delay", QString::number(delayMs)} + keys).has_value();
}

void screenshot(XTestSession& s, const QString& name)
{
    s.tool({"import", "-window", "root", artifactsDir() + "/" + name + ".png"});
}

// Activation of other programs' windows lives in the X11 workspace backend; until it is there, what can be
// checked is that the switcher asked for it.
bool workspaceCanActivate(XTestSession& s, std::int32_t pid) { return s.desktop().workspace().activate(pid, true); }

}  // namespace

TEST(SwitcherEndToEnd, panelTakesTheKeyboardBeepsForUnboundKeysAndClosesOnEscape)
{
    XTestSession& s = XTestSession::get();
    if (s.windowManagerTakesSuper())
        GTEST_SKIP() << "the window manager grabs Super alone, so Super+Space never reaches Tamsinvale; that is "
                        "reported to the user (WindowManagerBehaviour.aHotkeyTheManagerTakes…)";
    Tamsinvale app(s);
    QString why;
    if (!app.start(&why))
        GTEST_SKIP() << why.toStdString();
    ASSERT_FALSE(panelViewable(s));
    ASSERT_FALSE(s.x().keyboardGrabbedByAnother());

    ASSERT_TRUE(press(s, {"super+space"}));
    ASSERT_TRUE(s.waitUntil([&] { return panelViewable(s); }, 10s)) << "the panel did not appear";
    EXPECT_TRUE(s.x().keyboardGrabbedByAnother());
    ASSERT_TRUE(app.waitForLog("show: ordered front"));
    screenshot(s, "switcher-open");

    ASSERT_TRUE(press(s, {"q"}));
    EXPECT_TRUE(app.waitForLog("panel: unhandled keyDown 'q' fell through to panel (this is the beep)"));
    EXPECT_TRUE(panelViewable(s));

    ASSERT_TRUE(press(s, {"Escape"}));
    EXPECT_TRUE(s.waitUntil([&] { return !panelViewable(s); }, 10s)) << "Escape did not close the panel";
    EXPECT_TRUE(s.waitUntil([&] { return !s.x().keyboardGrabbedByAnother(); }, 10s)) << "the keyboard was not given back";
}

TEST(SwitcherEndToEnd, bindingsBringTheirTargetsForwardAndEarlyKeysCount)
{
    XTestSession& s = XTestSession::get();
    if (s.windowManagerTakesSuper())
        GTEST_SKIP() << "the window manager grabs Super alone, so Super+Space never reaches Tamsinvale; that is "
                        "reported to the user (WindowManagerBehaviour.aHotkeyTheManagerTakes…)";
    // A test client with a desktop entry of its own, bound to "t" then "e"; xterm's entry bound to "x".
    QFile entry(s.applicationsDir() + "/tamsinvale-switch-target.desktop");
    QDir().mkpath(s.applicationsDir());
    ASSERT_TRUE(entry.open(QIODevice::WriteOnly | QIODevice::Truncate));
    entry.write(QStringLiteral("[Desktop Entry]\nType=Application\nName=Switch Target\nExec=%1\n"
                               "StartupWMClass=SwitchTarget\n")
                    .arg(testClientPath)
                    .toUtf8());
    entry.close();
    WindowSpec windowSpec;
    windowSpec.title = "switch-target";
    windowSpec.windowClass = "SwitchTarget";
    auto client = s.client({windowSpec});
    ASSERT_TRUE(client);
    auto xterm = s.application({"xterm", "-title", "switch-xterm"});
    ASSERT_TRUE(xterm);
    const auto xtermWindow = s.clientWindowOf("XTerm");
    ASSERT_TRUE(xtermWindow);

    Tamsinvale app(s);
    if (app.shortcuts({"--help"}).exitCode != 0)
        GTEST_SKIP() << "this build of tamsinvale has no `tamsinvale shortcuts` command";
    const ToolRun bound = app.shortcuts({"bind", "debian-xterm", "x"});
    ASSERT_EQ(bound.exitCode, 0) << bound.output.toStdString();
    const ToolRun added = app.shortcuts({"add", entry.fileName(), "t", "e"});
    ASSERT_EQ(added.exitCode, 0) << added.output.toStdString();
    QString why;
    if (!app.start(&why))
        GTEST_SKIP() << why.toStdString();
    ASSERT_TRUE(s.activate(client->window(0)));

    // The hotkey and x right behind it with no pause at all (quicker than any person): x is not lost while the
    // panel comes up.
    ASSERT_TRUE(press(s, {"super+space", "x"}));
    EXPECT_TRUE(app.waitForLog("handler: activating discovered 'XTerm'"));
    EXPECT_TRUE(app.waitForLog("activate: 'XTerm' via running instance"));
    EXPECT_TRUE(s.waitUntil([&] { return !panelViewable(s) && !s.x().keyboardGrabbedByAnother(); }, 10s));

    // Two keys for the test client.
    ASSERT_TRUE(press(s, {"super+space"}));
    ASSERT_TRUE(s.waitUntil([&] { return panelViewable(s); }, 10s));
    ASSERT_TRUE(press(s, {"t"}));
    EXPECT_TRUE(app.waitForLog("handler: entering waitingForSecondKey('t')"));
    screenshot(s, "switcher-second-key");
    ASSERT_TRUE(press(s, {"e"}));
    EXPECT_TRUE(app.waitForLog("activate: 'Switch Target' via running instance"));
    EXPECT_TRUE(s.waitUntil([&] { return !panelViewable(s); }, 10s));

    if (!workspaceCanActivate(s, client->pid()))
        GTEST_SKIP() << "X11Workspace::activate is not implemented yet: the switcher asked for the activations "
                        "(logged above) but the active window cannot be checked";
    // Each target is the active window after its keys.
    ASSERT_TRUE(s.activate(*xtermWindow));
    ASSERT_TRUE(press(s, {"super+space", "t", "e"}));
    EXPECT_TRUE(s.waitUntil([&] { return tamsinvale::x11test::xtools::activeWindow() == client->window(0); }, 10s));
    ASSERT_TRUE(press(s, {"super+space", "x"}));
    EXPECT_TRUE(s.waitUntil([&] { return tamsinvale::x11test::xtools::activeWindow() == *xtermWindow; }, 10s));
}
