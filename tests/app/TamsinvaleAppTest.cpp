// Wiring of the application on the simulated desktop: start-up order and delays, the coalesced re-apply,
// insert date, the menu, and the command-line actions.
#include <gtest/gtest.h>

#include "app/MenuBarIcon.h"
#include "app/TamsinvaleApp.h"
#include "hotkeys/HotKeyManager.h"
#include "platform/fake/FakeDesktop.h"
#include "settings/SettingsStore.h"

using namespace tamsinvale;

namespace {

struct Fixture {
    FakeDesktop desktop;
    SettingsStore settings{desktop.defaults};
    QStringList log;
    std::unique_ptr<TamsinvaleApp> app;

    // Every service records its calls with the virtual time at which it ran.
    AppServices recordingServices()
    {
        AppServices s;
        auto rec = [this](const char* name) {
            return [this, name] { log << QStringLiteral("%1@%2").arg(QLatin1String(name)).arg(desktop.scheduler.now()); };
        };
        s.menuBarDimmerApply = rec("menubar");
        s.focusDimmerRefresh = rec("refresh");
        s.focusDimmerApplyEnabledSetting = rec("mode");
        s.focusDimmerDelayedStart = rec("dimmer-start");
        s.discoveryRefresh = rec("discovery");
        s.wallpaperRotatorStart = rec("rotator");
        s.usageTrackerStart = rec("usage");
        s.permissionsStartupCheck = rec("permissions");
        s.toggleAppSwitcher = rec("app-switcher");
        s.showWindowSwitcher = [this](std::int32_t pid, const QString& name) {
            log << QStringLiteral("window-switcher %1 %2").arg(pid).arg(name);
        };
        s.snap = [this](int side) { log << QStringLiteral("snap %1").arg(side); };
        s.applyPreset = [this](const WindowSizePreset& p) { log << "preset " + p.name; };
        return s;
    }

    explicit Fixture(bool withServices = true)
    {
        app = std::make_unique<TamsinvaleApp>(desktop.platform(), settings,
                                              withServices ? recordingServices() : AppServices{});
    }
};

QStringList titles(const QList<MenuItem>& items)
{
    QStringList out;
    for (const MenuItem& i : items)
        out << (i.kind == MenuItem::Kind::separator ? QStringLiteral("---") : i.title);
    return out;
}

}  // namespace

TEST(TamsinvaleApp, startsServicesInOrderWithTheirDelays)
{
    Fixture f;
    f.app->start();
    EXPECT_EQ(f.log, (QStringList{"menubar@0", "refresh@0", "discovery@0", "usage@0"}));
    EXPECT_EQ(f.desktop.hotkeys.registrations().size(), 4);  // hotkeys come before everything else
    f.desktop.scheduler.advance(0.49);
    EXPECT_EQ(f.log.size(), 4);
    f.desktop.scheduler.advance(0.01);
    EXPECT_EQ(f.log.last(), QStringLiteral("permissions@0.5"));
    f.desktop.scheduler.advance(1.0);
    EXPECT_EQ(f.log.mid(5), (QStringList{"dimmer-start@1.5", "rotator@1.5"}));
}

TEST(TamsinvaleApp, aBurstOfDefaultsChangesReappliesOnceAfterTheCurrentWork)
{
    Fixture f;
    f.app->start();
    f.desktop.scheduler.advance(2);
    f.log.clear();
    for (int i = 0; i < 10; ++i)
        f.desktop.defaults.setValue(QStringLiteral("tamsinvale.settings.dim.opacity"), 0.1 + i * 0.05);
    EXPECT_EQ(f.app->reapplyCount(), 0);  // not inside the change notification
    f.desktop.scheduler.runPending();
    EXPECT_EQ(f.app->reapplyCount(), 1);
    EXPECT_EQ(f.log, (QStringList{"menubar@2", "refresh@2", "mode@2"}));
    // The re-apply read what another process wrote.
    EXPECT_DOUBLE_EQ(f.settings.settings().dimMenuBarOpacity, 0.55);

    // What other parts keep in the same domain (the usage record, written on every activation) re-applies nothing:
    // the settings are as they were applied.
    f.log.clear();
    const auto registrations = f.desktop.hotkeys.registrations().size();
    f.desktop.defaults.setValue(QStringLiteral("tamsinvale.usage.lastActivated"), QVariantMap{{"org.xterm", 1.0}});
    f.desktop.scheduler.runPending();
    EXPECT_EQ(f.app->reapplyCount(), 1);
    EXPECT_TRUE(f.log.isEmpty());
    EXPECT_EQ(f.desktop.hotkeys.registrations().size(), registrations);

    // A changed hotkey is registered by the re-apply.
    f.desktop.defaults.setValue(QStringLiteral("tamsinvale.settings.hotkey.app"),
                                QByteArray(R"({"keyCode":49,"modifiers":4096})"));
    f.desktop.scheduler.runPending();
    EXPECT_EQ(f.app->reapplyCount(), 2);
    EXPECT_EQ(f.desktop.hotkeys.registrations().first().modifiers, 4096u);
}

TEST(TamsinvaleApp, hotkeysReachTheirServices)
{
    Fixture f;
    f.settings.set(&Settings::windowSizePresets,
                   QList<WindowSizePreset>{{QUuid::createUuid(), "Half", ".5", "1", HotKeyConfig{4, 4352}}});
    f.app->start();
    f.log.clear();
    for (std::uint32_t id : {1u, 9u, 10u, 100u})
        f.desktop.hotkeys.press(id);
    f.desktop.scheduler.runPending();
    EXPECT_EQ(f.log, (QStringList{"app-switcher@0", "snap 0", "snap 1", "preset Half"}));

    // A preset deleted after registration does nothing.
    f.log.clear();
    f.settings.update([](Settings& s) { s.windowSizePresets.clear(); });
    f.app->hotKeyManager().handleHotKey(100);
    EXPECT_TRUE(f.log.isEmpty());
}

TEST(TamsinvaleApp, insertDateTypesTwoDigitYearMonthDay)
{
    Fixture f;
    f.desktop.scheduler.setWallClock(QDateTime(QDate(2026, 3, 15), QTime(23, 59), Qt::LocalTime));
    f.app->start();
    f.desktop.hotkeys.deliver(8);
    f.desktop.scheduler.runPending();
    EXPECT_EQ(f.desktop.input.typed(), QStringLiteral("260315"));
    f.desktop.scheduler.setWallClock(QDateTime(QDate(2009, 11, 2), QTime(0, 0), Qt::LocalTime));
    f.app->insertDate();
    EXPECT_EQ(f.desktop.input.typed(), QStringLiteral("260315091102"));
}

TEST(TamsinvaleApp, menuFollowsSettingsAndServices)
{
    Fixture f(false);  // nothing of the later subsystems is there
    const QList<MenuItem> menu = f.app->menu();
    EXPECT_EQ(titles(menu),
              (QStringList{"About Tamsinvale", "Settings…", "---", "Switchers", "Show App Switcher",
                           "Show Window Switcher", "---", "Close Inactive Apps…", "---", "Dim Menu Bar", "Focus Dim",
                           "Fully Dim Other Screens", "Black Background", "Launch at Login", "Menu Bar Icon", "---",
                           "Quit Tamsinvale"}));
    EXPECT_FALSE(menu[4].enabled);  // the app switcher has not landed: its item does nothing
    EXPECT_TRUE(menu[9].checked);   // Dim Menu Bar on by default
    EXPECT_FALSE(menu[11].checked);

    f.app->perform(MenuCommand::toggleFullyDimOtherScreens);
    f.app->perform(MenuCommand::iconStyleLine);
    EXPECT_TRUE(f.settings.settings().focusDimOtherScreensFully);
    EXPECT_EQ(f.settings.settings().menuBarIconStyle, MenuBarIconStyle::line);
    const QList<MenuItem> after = f.app->menu();
    EXPECT_TRUE(after[11].checked);
    EXPECT_FALSE(after[14].children[0].checked);
    EXPECT_TRUE(after[14].children[1].checked);
    // Saved at once.
    EXPECT_EQ(f.desktop.defaults.stringValue(QStringLiteral("tamsinvale.settings.menubar.iconStyle")),
              QStringLiteral("line"));

    // "Next Wallpaper" only while rotation is configured; "Check for Updates…" only with an updater.
    AppServices s;
    bool rotating = false;
    s.wallpaperRotationConfigured = [&] { return rotating; };
    s.nextWallpaper = [] { return true; };
    s.checkForUpdates = [] {};
    TamsinvaleApp withRotation(f.desktop.platform(), f.settings, s);
    EXPECT_FALSE(titles(withRotation.menu()).contains("Next Wallpaper"));
    EXPECT_EQ(titles(withRotation.menu())[1], QStringLiteral("Check for Updates…"));
    rotating = true;
    EXPECT_TRUE(titles(withRotation.menu()).contains("Next Wallpaper"));
}

TEST(TamsinvaleApp, showWindowSwitcherFromTheMenuTakesTheFrontmostApplication)
{
    Fixture f;
    f.desktop.addAppWithWindow(10, "org.example.Editor", "Editor", QRectF(0, 25, 500, 500));
    f.desktop.workspace.setFrontmost(FakeDesktop::ownPid);
    f.app->perform(MenuCommand::showWindowSwitcher);
    EXPECT_TRUE(f.log.isEmpty());  // Tamsinvale itself in front: nothing
    f.desktop.workspace.setFrontmost(10);
    f.app->perform(MenuCommand::showWindowSwitcher);
    EXPECT_EQ(f.log, QStringList{"window-switcher 10 Editor"});
}

TEST(TamsinvaleApp, commandLineActionsTakeTheHotkeyPaths)
{
    Fixture f;
    f.app->start();
    f.log.clear();
    EXPECT_TRUE(f.app->performAction("app-switcher", {}).ok);
    EXPECT_TRUE(f.app->performAction("snap-right", {}).ok);
    EXPECT_TRUE(f.app->performAction("size", "full").ok);  // names match without regard to case
    EXPECT_EQ(f.log, (QStringList{"app-switcher@0", "snap 1", "preset Full"}));
    EXPECT_FALSE(f.app->performAction("size", {}).ok);
    const ActionResult unknownPreset = f.app->performAction("size", "Huge");
    EXPECT_FALSE(unknownPreset.ok);
    EXPECT_TRUE(unknownPreset.message.contains("there are: Full"));
    EXPECT_FALSE(f.app->performAction("frobnicate", {}).ok);
    EXPECT_FALSE(f.app->performAction("snap-left", "extra").ok);
    // The settings window opens on a page by its name; an unknown name lists the pages.
    const ActionResult noPage = f.app->performAction("settings", "pictures");
    EXPECT_FALSE(noPage.ok);
    EXPECT_TRUE(noPage.message.contains("there are: dimming, wallpapers, hotkeys, app-shortcuts, window-sizes, "
                                        "inactive-apps, general"))
        << noPage.message.toStdString();

    // An action whose subsystem has not landed succeeds as a no-op and says so.
    const ActionResult quickDim = f.app->performAction("quick-dim", {});
    EXPECT_TRUE(quickDim.ok);
    EXPECT_TRUE(quickDim.message.contains("not built yet"));

    // "next-wallpaper" with nothing to change to is a failure the script hears of, not a silent no-op.
    AppServices rotation;
    bool changes = false;
    rotation.nextWallpaper = [&] { return changes; };
    TamsinvaleApp withRotation(f.desktop.platform(), f.settings, rotation);
    const ActionResult nothing = withRotation.performAction("next-wallpaper", {});
    EXPECT_FALSE(nothing.ok);
    EXPECT_TRUE(nothing.failed);
    EXPECT_TRUE(nothing.message.contains("no other wallpaper")) << nothing.message.toStdString();
    changes = true;
    EXPECT_TRUE(withRotation.performAction("next-wallpaper", {}).ok);
    EXPECT_FALSE(withRotation.performAction("next-wallpaper", "x").ok);

    bool quit = false;
    QObject::connect(f.app.get(), &TamsinvaleApp::quitRequested, [&] { quit = true; });
    EXPECT_TRUE(f.app->performAction("quit", {}).ok);
    EXPECT_FALSE(quit);  // after the reply has gone out
    f.desktop.scheduler.runPending();
    EXPECT_TRUE(quit);
}

TEST(MenuBarIcon, windowsPictureHasASolidFrontWindowAndAGapInTheOutlineBehind)
{
    const QImage image = MenuBarIcon::image(MenuBarIconStyle::windows, 4.0);
    ASSERT_EQ(image.size(), QSize(72, 72));
    auto alphaAt = [&](double x, double yUp) {  // points in the picture's own space, y up
        return qAlpha(image.pixel(qRound(x * 4), qRound((18 - yUp) * 4)));
    };
    EXPECT_EQ(alphaAt(6, 6), 255);      // inside the front window
    EXPECT_EQ(alphaAt(16.5, 11), 255);  // on the outline of the window behind: right edge
    EXPECT_EQ(alphaAt(11, 16.5), 255);  // and top edge
    EXPECT_EQ(alphaAt(13.3, 10), 0);    // the gap cut around the front window
    EXPECT_EQ(alphaAt(15, 14), 0);      // inside the outline: hollow
    EXPECT_EQ(alphaAt(0.2, 17.5), 0);
    // Built once and reused.
    EXPECT_EQ(MenuBarIcon::image(MenuBarIconStyle::windows, 4.0).cacheKey(), image.cacheKey());
    EXPECT_NE(MenuBarIcon::image(MenuBarIconStyle::line, 4.0).cacheKey(), image.cacheKey());
}
