// The real tamsinvale on a real X server: hotkey grabs, the report of combinations the window manager owns,
// one instance per session, `tamsinvale ctl`, and the date typed into another program's window.
#include <gtest/gtest.h>

#include <QDate>
#include <QFile>
#include <QLocale>
#include <QTemporaryDir>

#include "ChildProcess.h"
#include "ProgramRun.h"
#include "X11TestPaths.h"
#include "XTestSession.h"
#include "XTools.h"

#include <xcb/xcb.h>

using namespace tamsinvale::x11test;
using namespace std::chrono_literals;

namespace {

// Whether somebody holds a grab of this key with these modifiers: our own grab attempt is refused then.
bool grabbedByAnother(XTestDisplay& x, xcb_keysym_t keysym, uint16_t modifiers)
{
    xcb_connection_t* c = x.xcb();
    const xcb_setup_t* setup = xcb_get_setup(c);
    auto* mapping = xcb_get_keyboard_mapping_reply(
        c, xcb_get_keyboard_mapping(c, setup->min_keycode, setup->max_keycode - setup->min_keycode + 1), nullptr);
    if (!mapping)
        return false;
    const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(mapping);
    xcb_keycode_t keycode = 0;
    for (int k = 0; k <= setup->max_keycode - setup->min_keycode && !keycode; ++k)
        for (int i = 0; i < mapping->keysyms_per_keycode && !keycode; ++i)
            if (syms[k * mapping->keysyms_per_keycode + i] == keysym)
                keycode = static_cast<xcb_keycode_t>(setup->min_keycode + k);
    free(mapping);
    if (!keycode)
        return false;
    return x.keyGrabbedByAnother(keycode, modifiers);
}

constexpr uint16_t super = XCB_MOD_MASK_4;
constexpr uint16_t numLock = XCB_MOD_MASK_2;
constexpr uint16_t capsLock = XCB_MOD_MASK_LOCK;

}  // namespace

TEST(AppEndToEnd, hotkeysOneInstanceControlAndInsertDate)
{
    XTestSession& s = XTestSession::get();
    SessionBus bus;
    ASSERT_FALSE(bus.address.isEmpty()) << "no dbus-daemon";
    QTemporaryDir config;
    const QStringList env{"DISPLAY=" + s.display(), "DBUS_SESSION_BUS_ADDRESS=" + bus.address,
                          "XDG_CONFIG_HOME=" + config.path(), "TAMSINVALE_VERBOSE=1"};

    // Before it runs nobody holds ⌘ Space. Snapping's defaults (Ctrl+Alt+Left/Right) are held by some managers
    // (Openbox, IceWM) and not by others (i3): what they hold is what must be reported.
    ASSERT_FALSE(grabbedByAnother(s.x(), ' ', super));
    constexpr uint16_t controlAlt = XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1;
    const bool managerHoldsLeft = grabbedByAnother(s.x(), 0xff51 /* Left */, controlAlt);
    const bool managerHoldsRight = grabbedByAnother(s.x(), 0xff53 /* Right */, controlAlt);

    auto app = ChildProcess::start({"sh", "-c", "exec \"$0\" 2>&1", tamsinvalePath}, env);
    ASSERT_TRUE(app);
    const auto started = app->readLineStartingWith("tamsinvale.app: started:", 20s);
    ASSERT_TRUE(started) << "tamsinvale did not report its start";

    // ⌘ Space (app switcher) and ⌘ § are grabbed, with and without NumLock and CapsLock.
    for (uint16_t extra : {uint16_t(0), numLock, capsLock, uint16_t(numLock | capsLock)})
        EXPECT_TRUE(grabbedByAnother(s.x(), ' ', super | extra)) << "modifiers " << (super | extra);

    // The combinations the manager holds are reported as failed, and only those; the rest still work.
    const ToolRun failed = runWith(env, {"dbus-send", "--session", "--print-reply", "--dest=org.tamsinvale.Tamsinvale",
                                     "/org/tamsinvale/Tamsinvale", "org.tamsinvale.Tamsinvale.FailedHotkeys"});
    EXPECT_EQ(failed.output.contains("\"Snap Left\""), managerHoldsLeft) << failed.output.toStdString();
    EXPECT_EQ(failed.output.contains("\"Snap Right\""), managerHoldsRight) << failed.output.toStdString();
    if (s.windowManager() == WindowManagerProcess::Kind::openbox) {
        EXPECT_TRUE(managerHoldsLeft && managerHoldsRight) << "Openbox binds both itself";
    }
    EXPECT_FALSE(failed.output.contains("App Switcher"));

    // A second copy in the same session does not start.
    const ToolRun second = runWith(env, {tamsinvalePath});
    EXPECT_EQ(second.exitCode, 0);
    EXPECT_TRUE(second.output.contains("already running")) << second.output.toStdString();
    EXPECT_TRUE(app->running());

    // ctl: unknown actions and arguments are errors.
    EXPECT_EQ(runWith(env, {tamsinvalePath, "ctl", "frobnicate"}).exitCode, 2);
    EXPECT_EQ(runWith(env, {tamsinvalePath, "ctl", "size", "Nonexistent"}).exitCode, 2);
    EXPECT_EQ(runWith(env, {tamsinvalePath, "ctl", "settings", "nowhere"}).exitCode, 2);
    // The window commands act (with no window in front, on nothing) and have no such note.
    const ToolRun nextDisplay = runWith(env, {tamsinvalePath, "ctl", "next-display"});
    EXPECT_EQ(nextDisplay.exitCode, 0);
    EXPECT_FALSE(nextDisplay.output.contains("not built yet")) << nextDisplay.output.toStdString();

    // Insert date: an xterm reads six raw characters into a file; the date arrives there.
    QTemporaryDir work;
    const QString typed = work.filePath("typed");
    auto xterm = s.application({"xterm", "-title", "insert-date-target", "-e", "sh", "-c",
                                "stty raw -echo; head -c 6 > \"$0\"", typed});
    ASSERT_TRUE(xterm);
    const auto target = s.clientWindowOf("XTerm");
    ASSERT_TRUE(target);
    ASSERT_TRUE(xtools::activate(*target));
    const QString before = QLocale::c().toString(QDate::currentDate(), "yyMMdd");
    ASSERT_EQ(runWith(env, {tamsinvalePath, "ctl", "insert-date"}).exitCode, 0);
    ASSERT_TRUE(s.waitUntil([&] { return QFileInfo(typed).size() >= 6; }, 10s)) << "nothing typed";
    QFile file(typed);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(file.readAll());
    const QString after = QLocale::c().toString(QDate::currentDate(), "yyMMdd");
    EXPECT_TRUE(text == before || text == after) << text.toStdString();

    // Quit through ctl ends the instance; after that ctl finds nobody.
    EXPECT_EQ(runWith(env, {tamsinvalePath, "ctl", "quit"}).exitCode, 0);
    int status = 0;
    ASSERT_TRUE(app->waitForExit(10s, &status));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_FALSE(grabbedByAnother(s.x(), ' ', super));  // its grabs went with it
    const ToolRun gone = runWith(env, {tamsinvalePath, "ctl", "app-switcher"});
    EXPECT_EQ(gone.exitCode, 3);
    EXPECT_TRUE(gone.output.contains("not running"));
}

TEST(AppEndToEnd, waylandSessionsAreRefusedClearly)
{
    const ToolRun run = runWith({"WAYLAND_DISPLAY=wayland-0", "XDG_SESSION_TYPE=wayland"}, {tamsinvalePath});
    EXPECT_EQ(run.exitCode, 4);
    EXPECT_TRUE(run.output.contains("Wayland")) << run.output.toStdString();
}
