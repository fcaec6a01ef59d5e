// The app switcher as people use it on a real desktop: Super still held through the chord, a click into another
// window while the switcher holds the keyboard, a script that must outlive Tamsinvale, and the launch overlay with
// no compositor and with one that starts after Tamsinvale.
#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include "TamsinvaleInstance.h"
#include "X11TestPaths.h"
#include "XTestSession.h"
#include "XTools.h"

using namespace tamsinvale::x11test;
using namespace std::chrono_literals;

namespace {

QString artifactsDir()
{
    const QString dir = qEnvironmentVariable("TAMSINVALE_ARTIFACTS_DIR", QStringLiteral(TAMSINVALE_SWITCH_ARTIFACTS));
    QDir().mkpath(dir);
    return dir;
}

void screenshot(XTestSession& s, const QString& name)
{
    runTool({"import", "-display", s.display(), "-window", "root", artifactsDir() + "/" + name + ".png"}, 20s);
}

bool xdotool(XTestSession& s, const QStringList& arguments)
{
    return s.tool(QStringList{"xdotool"} + arguments).has_value();
}

// The switcher's panel: our window titled as it is, viewable.
std::optional<xcb_window_t> switcherPanel(XTestSession& s)
{
    const auto found = s.tool({"xdotool", "search", "--onlyvisible", "--name", "^Tamsinvale App Switcher$"});
    if (!found)
        return std::nullopt;
    for (const QString& id : found->split('\n', Qt::SkipEmptyParts))
        return xcb_window_t(id.trimmed().toULong());
    return std::nullopt;
}

void writeEntry(XTestSession& s, const QString& id, const QString& body)
{
    QDir().mkpath(s.applicationsDir());
    QFile entry(s.applicationsDir() + "/" + id + ".desktop");
    ASSERT_TRUE(entry.open(QIODevice::WriteOnly | QIODevice::Truncate));
    entry.write(("[Desktop Entry]\nType=Application\n" + body).toUtf8());
}

WindowSpec windowAt(const QString& title, int x, int y)
{
    WindowSpec w;
    w.title = title;
    w.x = x;
    w.y = y;
    w.width = 500;
    w.height = 400;
    return w;
}

// The state letter of /proc/<pid>/stat; nothing once the process is gone.
std::optional<char> processState(pid_t pid)
{
    QFile f(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!f.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QByteArray stat = f.readAll();
    const qsizetype close = stat.lastIndexOf(')');
    return close >= 0 && close + 2 < stat.size() ? std::optional(stat.at(close + 2)) : std::nullopt;
}

}  // namespace

TEST(SwitcherOnTheDesktop, superHeldThroughTheChordStillSwitches)
{
    XTestSession& s = XTestSession::get();
    if (s.windowManagerTakesSuper())
        GTEST_SKIP() << "the window manager grabs Super alone, so Super+Space never reaches Tamsinvale; that is "
                        "reported to the user (WindowManagerBehaviour.aHotkeyTheManagerTakes…)";
    auto other = s.client({windowAt("elsewhere", 700, 100)});
    ASSERT_TRUE(other);
    auto xterm = s.application({"xterm", "-title", "chord-xterm"});
    ASSERT_TRUE(xterm);
    const auto xtermWindow = s.clientWindowOf("XTerm");
    ASSERT_TRUE(xtermWindow);
    TamsinvaleInstance app(s, artifactsDir() + "/chord.log");
    ASSERT_EQ(app.shortcuts({"bind", "debian-xterm", "x"}).exitCode, 0);
    ASSERT_TRUE(app.start()) << app.log().toStdString();
    ASSERT_TRUE(s.activate(other->window(0)));

    // Super stays down from the hotkey through the key, as most people type a launcher chord.
    ASSERT_TRUE(xdotool(s, {"keydown", "super", "key", "--delay", "40", "space", "x", "keyup", "super"}));
    EXPECT_TRUE(app.waitForLog("handler: activating discovered 'XTerm'")) << app.log().toStdString();
    EXPECT_TRUE(s.waitUntil([&] { return xtools::activeWindow() == *xtermWindow; }));
    EXPECT_TRUE(s.waitUntil([&] { return !switcherPanel(s) && !s.x().keyboardGrabbedByAnother(); }));
    EXPECT_FALSE(app.log().contains("(this is the beep)"));

    // Once more with Super pressed again for each key, and with Alt held over the key.
    ASSERT_TRUE(s.activate(other->window(0)));
    ASSERT_TRUE(xdotool(s, {"key", "super+space"}));
    ASSERT_TRUE(s.waitUntil([&] { return switcherPanel(s).has_value(); }));
    ASSERT_TRUE(xdotool(s, {"key", "alt+x"}));
    EXPECT_TRUE(s.waitUntil([&] { return xtools::activeWindow() == *xtermWindow; }));
}

TEST(SwitcherOnTheDesktop, aClickIntoAnotherWindowClosesTheSwitcherAndStillReachesThatWindow)
{
    XTestSession& s = XTestSession::get();
    if (s.windowManagerTakesSuper())
        GTEST_SKIP() << "the window manager grabs Super alone, so Super+Space never reaches Tamsinvale; that is "
                        "reported to the user (WindowManagerBehaviour.aHotkeyTheManagerTakes…)";
    auto first = s.client({windowAt("first", 80, 120)});
    auto second = s.client({windowAt("second", 1300, 500)});
    ASSERT_TRUE(first && second);
    TamsinvaleInstance app(s, artifactsDir() + "/click-outside.log");
    ASSERT_EQ(app.shortcuts({"bind", "debian-xterm", "x"}).exitCode, 0);
    ASSERT_TRUE(app.start()) << app.log().toStdString();
    ASSERT_TRUE(s.activate(first->window(0)));

    ASSERT_TRUE(xdotool(s, {"key", "super+space"}));
    ASSERT_TRUE(s.waitUntil([&] { return switcherPanel(s).has_value(); }));
    ASSERT_TRUE(app.waitForLog("view: onAppear"));
    // A click on the panel itself keeps it open (its header: no row there).
    const auto panel = xtools::geometry(*switcherPanel(s));
    ASSERT_TRUE(panel);
    ASSERT_TRUE(xdotool(s, {"mousemove", QString::number(panel->center().x()), QString::number(panel->top() + 8),
                            "click", "1"}));
    ASSERT_TRUE(xdotool(s, {"mousemove", QString::number(panel->center().x()), QString::number(panel->top() + 8),
                            "click", "3"}));
    EXPECT_TRUE(switcherPanel(s).has_value());
    EXPECT_TRUE(s.x().keyboardGrabbedByAnother());

    // Into the other window: the switcher closes and gives the keyboard back, and the click reaches the window
    // (the manager activates it on that click).
    const QRect target = *xtools::geometry(second->window(0));
    ASSERT_TRUE(xdotool(s, {"mousemove", QString::number(target.center().x()), QString::number(target.center().y()),
                            "click", "1"}));
    EXPECT_TRUE(app.waitForLog("close: pointer pressed outside the panel")) << app.log().toStdString();
    EXPECT_TRUE(s.waitUntil([&] { return !switcherPanel(s) && !s.x().keyboardGrabbedByAnother(); }));
    EXPECT_TRUE(s.waitUntil([&] { return xtools::activeWindow() == second->window(0); }));
    screenshot(s, "click-outside-closed");

    // Typing now is for that window: it starts nothing through the switcher.
    ASSERT_TRUE(xdotool(s, {"key", "x"}));
    ASSERT_TRUE(xdotool(s, {"key", "super+space"}));
    ASSERT_TRUE(s.waitUntil([&] { return switcherPanel(s).has_value(); }));
    ASSERT_TRUE(xdotool(s, {"key", "Escape"}));
    EXPECT_TRUE(s.waitUntil([&] { return !switcherPanel(s); }));
    EXPECT_FALSE(app.log().contains("handler: activating discovered 'XTerm'")) << app.log().toStdString();
}

TEST(SwitcherOnTheDesktop, aScriptStartedFromAShortcutOutlivesQuit)
{
    XTestSession& s = XTestSession::get();
    if (s.windowManagerTakesSuper())
        GTEST_SKIP() << "the window manager grabs Super alone, so Super+Space never reaches Tamsinvale; that is "
                        "reported to the user (WindowManagerBehaviour.aHotkeyTheManagerTakes…)";
    QTemporaryDir dir;
    const QString pidFile = dir.filePath("script.pid");
    const QString script = dir.filePath("long-job.py");
    {
        QFile f(script);
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(QStringLiteral("import os, sys, time\n"
                               "with open(%1, 'w') as f:\n"
                               "    f.write(str(os.getpid()))\n"
                               "time.sleep(120)\n")
                    .arg("'" + pidFile + "'")
                    .toUtf8());
    }
    auto other = s.client({windowAt("busy", 100, 100)});
    ASSERT_TRUE(other);
    TamsinvaleInstance app(s, artifactsDir() + "/script-outlives.log");
    // The system's python3, found the way a fresh desktop session finds it.
    app.setEnvironment("PATH", "/usr/local/bin:/usr/bin:/bin");
    app.setEnvironment("SHELL", "/bin/bash");
    const ToolRun added = app.shortcuts({"add", script, "j"});
    ASSERT_EQ(added.exitCode, 0) << added.output.toStdString();
    ASSERT_TRUE(app.start()) << app.log().toStdString();
    ASSERT_TRUE(s.activate(other->window(0)));

    ASSERT_TRUE(xdotool(s, {"key", "--delay", "40", "super+space", "j"}));
    ASSERT_TRUE(s.waitUntil([&] { return QFile::exists(pidFile) && QFile(pidFile).size() > 0; }, 20s))
        << app.log().toStdString();
    QFile f(pidFile);
    ASSERT_TRUE(f.open(QIODevice::ReadOnly));
    const pid_t scriptPid = pid_t(f.readAll().trimmed().toInt());
    ASSERT_GT(scriptPid, 0);
    EXPECT_EQ(::getsid(scriptPid), scriptPid) << "the script runs in a session of its own";

    ASSERT_TRUE(app.quit()) << "tamsinvale did not quit";
    // Tamsinvale is gone; the user's script is not.
    EXPECT_EQ(::kill(scriptPid, 0), 0) << "the script was ended with Tamsinvale";
    EXPECT_NE(processState(scriptPid).value_or('Z'), 'Z');
    ::kill(scriptPid, SIGTERM);
    // Orphaned, it is reaped by whoever inherited it (or by us, should this test be its subreaper).
    ::waitpid(scriptPid, nullptr, WNOHANG);
}

TEST(SwitcherOnTheDesktop, theLaunchOverlayWithoutACompositorAndWithOneStartedLater)
{
    XTestSession& s = XTestSession::get();
    if (s.windowManagerTakesSuper())
        GTEST_SKIP() << "the window manager grabs Super alone, so Super+Space never reaches Tamsinvale; that is "
                        "reported to the user (WindowManagerBehaviour.aHotkeyTheManagerTakes…)";
    // An application that takes its time: no window for as long as the launcher waits.
    writeEntry(s, "slow-starter", "Name=Slow Starter\nExec=sleep 30\n");
    WindowSpec background = windowAt("work", 100, 100);
    background.width = 1700;
    background.height = 900;
    auto work = s.client({background});
    ASSERT_TRUE(work);
    TamsinvaleInstance app(s, artifactsDir() + "/launch-overlay.log");
    ASSERT_EQ(app.shortcuts({"bind", "slow-starter", "w"}).exitCode, 0);
    // Only the launch overlay's panels, so that what is on screen is what this test is about.
    ASSERT_EQ(app.setting("focusDimEnabled", "false").exitCode, 0);
    ASSERT_TRUE(app.start()) << app.log().toStdString();
    ASSERT_TRUE(s.activate(work->window(0)));
    const QRect monitor(0, 0, XTestSession::defaultSize.width(), XTestSession::defaultSize.height());
    auto card = [&]() -> std::optional<TamsinvaleInstance::Window> {
        for (const auto& w : app.windows())
            if (w.geometry.width() >= 280 && w.geometry.height() == 200)
                return w;
        return std::nullopt;
    };
    auto dimWindow = [&]() -> std::optional<TamsinvaleInstance::Window> {
        for (const auto& w : app.windows())
            if (w.geometry == monitor)
                return w;
        return std::nullopt;
    };

    if (s.x().selectionOwner("_NET_WM_CM_S0") != XCB_WINDOW_NONE) {
        // The window manager composites itself (Metacity, xfwm4): there is never a moment without a compositor, and
        // the very first launch dims the screen translucently under its card.
        ASSERT_TRUE(xdotool(s, {"key", "--delay", "40", "super+space", "w"}));
        ASSERT_TRUE(s.waitUntil([&] { return card() && dimWindow(); })) << app.log().toStdString();
        EXPECT_EQ(dimWindow()->depth, 32);
        EXPECT_GT(card()->stackIndex, dimWindow()->stackIndex);
        screenshot(s, "launch-overlay-manager-composites");
        ASSERT_TRUE(xdotool(s, {"key", "Escape"}));
        EXPECT_TRUE(s.waitUntil([&] { return !card(); }));
        return;
    }
    // No compositor: the card alone, the screen behind it not blacked out.
    ASSERT_TRUE(xdotool(s, {"key", "--delay", "40", "super+space", "w"}));
    ASSERT_TRUE(s.waitUntil([&] { return card().has_value(); })) << app.log().toStdString();
    EXPECT_FALSE(dimWindow().has_value()) << "an opaque dim window covers the screen";
    EXPECT_TRUE(monitor.contains(card()->geometry));
    EXPECT_TRUE(app.log().contains("launch overlay: no compositor is running"));
    screenshot(s, "launch-overlay-no-compositor");
    ASSERT_TRUE(xdotool(s, {"key", "Escape"}));
    ASSERT_TRUE(s.waitUntil([&] { return !card(); }));

    // The compositor comes up after us, as in an autostart race: it is noticed, and the next launch dims the
    // screen translucently.
    auto compositor = s.application({"xcompmgr"});
    ASSERT_TRUE(compositor);
    ASSERT_TRUE(s.waitUntil([&] { return s.x().selectionOwner("_NET_WM_CM_S0") != XCB_WINDOW_NONE; }));
    ASSERT_TRUE(app.waitForLog("overlay panels: a compositor started")) << app.log().toStdString();
    ASSERT_TRUE(xdotool(s, {"key", "--delay", "40", "super+space", "w"}));
    ASSERT_TRUE(s.waitUntil([&] { return card() && dimWindow(); })) << app.log().toStdString();
    EXPECT_EQ(dimWindow()->depth, 32);
    EXPECT_EQ(card()->depth, 32);
    EXPECT_GT(card()->stackIndex, dimWindow()->stackIndex);
    screenshot(s, "launch-overlay-compositor-started-later");
    ASSERT_TRUE(xdotool(s, {"key", "Escape"}));
    EXPECT_TRUE(s.waitUntil([&] { return !card() && !dimWindow(); }));
    compositor->stop();
}
