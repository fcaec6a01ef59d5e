// Registration order and identifiers, failure publishing and dispatch of the hotkey manager.
#include <gtest/gtest.h>

#include <QSignalSpy>

#include "hotkeys/HotKeyManager.h"
#include "platform/fake/FakeDesktop.h"
#include "settings/SettingsStore.h"
#include "windows/FocusTracker.h"

using namespace tamsinvale;

namespace {

struct Fixture {
    FakeDesktop desktop;
    SettingsStore settings{desktop.defaults};
    FocusTracker tracker{desktop.workspace};
    HotKeyManager manager{desktop.hotkeys, desktop.workspace, tracker, desktop.scheduler};
    QStringList calls;

    Fixture()
    {
        manager.onHotKeyPressed = [this] { calls << "app"; };
        manager.onWindowsHotKeyPressed = [this](std::int32_t pid, const QString& name) {
            calls << QStringLiteral("windows %1 %2").arg(pid).arg(name);
        };
        manager.onQuickDimHotKeyPressed = [this] { calls << "quickdim"; };
        manager.onClearInactiveScreensHotKeyPressed = [this] { calls << "clear"; };
        manager.onResizeHotKeyPressed = [this](const QUuid& id) { calls << "resize " + uuidText(id); };
        manager.onMoveToNextScreenHotKeyPressed = [this] { calls << "next"; };
        manager.onInsertDateHotKeyPressed = [this] { calls << "date"; };
        manager.onSnapLeftHotKeyPressed = [this] { calls << "left"; };
        manager.onSnapRightHotKeyPressed = [this] { calls << "right"; };
    }

    QList<std::uint32_t> registeredIds() const
    {
        QList<std::uint32_t> ids;
        for (const auto& r : desktop.hotkeys.registrations())
            ids << r.identifier;
        return ids;
    }
};

WindowSizePreset preset(const char* id, const char* name, std::optional<HotKeyConfig> hotKey)
{
    return WindowSizePreset{QUuid(QString::fromLatin1(id)), QString::fromLatin1(name), "full", "full", hotKey};
}

}  // namespace

TEST(HotKeyManager, emptySettingsRegisterTheFourDefaultsInOrder)
{
    Fixture f;
    QSignalSpy failures(&f.manager, &HotKeyManager::failedRegistrationsChanged);
    f.manager.applyHotKeys(f.settings);
    EXPECT_EQ(f.registeredIds(), (QList<std::uint32_t>{1, 2, 9, 10}));
    const auto regs = f.desktop.hotkeys.registrations();
    EXPECT_EQ(regs[0].keyCode, 49u);
    EXPECT_EQ(regs[0].modifiers, 256u);
    EXPECT_EQ(regs[1].keyCode, 10u);
    EXPECT_EQ(regs[2].keyCode, 123u);
    EXPECT_EQ(regs[2].modifiers, 6144u);
    EXPECT_TRUE(f.manager.failedRegistrations().isEmpty());
    EXPECT_EQ(failures.count(), 0);

    // Configured combinations replace defaults; quick dim, clear screens and insert date stay unregistered.
    f.settings.update([](Settings& s) {
        s.appSwitcherHotKey = HotKeyConfig{49, 4096};
        s.moveToNextScreenHotKey = HotKeyConfig{45, 6144};
        s.quickDimHotKey = HotKeyConfig{2, 6144};
        s.clearInactiveScreensHotKey = HotKeyConfig{8, 6144};
        s.insertDateHotKey = HotKeyConfig{3, 6144};
    });
    f.manager.applyHotKeys(f.settings);
    EXPECT_EQ(f.registeredIds(), (QList<std::uint32_t>{1, 2, 7, 9, 10}));
    EXPECT_EQ(f.desktop.hotkeys.registrations()[0].modifiers, 4096u);
    EXPECT_EQ(f.desktop.hotkeys.unregisterCount(), 4);  // the earlier set, released before re-registering
    EXPECT_EQ(f.desktop.hotkeys.installCount(), 1);
}

TEST(HotKeyManager, presetIdentifiersAreConsecutiveAndAFailedOneUsesItsNumber)
{
    Fixture f;
    const HotKeyConfig taken{18, 4352};
    f.desktop.hotkeys.failCombination(taken.keyCode, taken.modifiers);
    f.settings.set(&Settings::windowSizePresets,
                   QList<WindowSizePreset>{preset("00000000-0000-4000-8000-00000000000A", "A", std::nullopt),
                                           preset("00000000-0000-4000-8000-00000000000B", "B", HotKeyConfig{19, 4352}),
                                           preset("00000000-0000-4000-8000-00000000000C", "C", taken),
                                           preset("00000000-0000-4000-8000-00000000000D", "D", HotKeyConfig{20, 4352})});
    f.manager.applyHotKeys(f.settings);
    EXPECT_EQ(f.registeredIds(), (QList<std::uint32_t>{1, 2, 9, 10, 100, 102}));
    const auto map = f.manager.resizePresetIDsByHotKeyID();
    EXPECT_EQ(map.keys(), (QList<std::uint32_t>{100, 102}));
    EXPECT_EQ(uuidText(map.value(102)), QStringLiteral("00000000-0000-4000-8000-00000000000D"));
    EXPECT_EQ(f.manager.failedRegistrations(), QStringList{"Window Size 'C'"});

    f.desktop.hotkeys.press(102);
    f.desktop.scheduler.runPending();
    EXPECT_EQ(f.calls, QStringList{"resize 00000000-0000-4000-8000-00000000000D"});
    f.calls.clear();
    f.manager.handleHotKey(101);  // the failed preset's number leads nowhere
    f.manager.handleHotKey(150);
    EXPECT_TRUE(f.calls.isEmpty());
}

TEST(HotKeyManager, failuresArePublishedOnlyWhenTheyChange)
{
    Fixture f;
    f.desktop.hotkeys.failCombination(49, 256);
    QSignalSpy changed(&f.manager, &HotKeyManager::failedRegistrationsChanged);
    f.manager.applyHotKeys(f.settings);
    EXPECT_EQ(f.manager.failedRegistrations(), QStringList{"App Switcher"});
    EXPECT_EQ(f.registeredIds(), (QList<std::uint32_t>{2, 9, 10}));  // the others still work
    EXPECT_EQ(changed.count(), 1);
    f.manager.applyHotKeys(f.settings);
    EXPECT_EQ(changed.count(), 1);
    f.desktop.hotkeys.clearFailures();
    f.manager.applyHotKeys(f.settings);
    EXPECT_EQ(changed.count(), 2);
    EXPECT_TRUE(f.manager.failedRegistrations().isEmpty());
}

TEST(HotKeyManager, aFailedHandlerInstallIsRetriedOnTheNextApply)
{
    Fixture f;
    f.desktop.hotkeys.setInstallStatus(-1);
    f.manager.applyHotKeys(f.settings);
    f.desktop.hotkeys.press(1);
    f.desktop.scheduler.runPending();
    EXPECT_TRUE(f.calls.isEmpty());
    f.desktop.hotkeys.setInstallStatus(HotkeyStatus::noErr);
    f.manager.applyHotKeys(f.settings);
    f.desktop.hotkeys.press(1);
    f.desktop.scheduler.runPending();
    EXPECT_EQ(f.calls, QStringList{"app"});
    f.manager.applyHotKeys(f.settings);  // installed once only: one press, one call
    f.desktop.hotkeys.press(1);
    f.desktop.scheduler.runPending();
    EXPECT_EQ(f.calls, (QStringList{"app", "app"}));
}

TEST(HotKeyManager, dispatchRunsOnTheNextTurnAndIgnoresRetiredIdentifiers)
{
    Fixture f;
    f.manager.applyHotKeys(f.settings);
    f.desktop.hotkeys.press(9);
    EXPECT_TRUE(f.calls.isEmpty());  // not inside the backend's callback
    f.desktop.scheduler.runPending();
    EXPECT_EQ(f.calls, QStringList{"left"});
    f.calls.clear();
    for (std::uint32_t id : {0u, 3u, 5u, 11u, 99u})
        f.desktop.hotkeys.deliver(id);
    for (std::uint32_t id : {4u, 6u, 7u, 8u, 10u})
        f.desktop.hotkeys.deliver(id);
    f.desktop.scheduler.runPending();
    EXPECT_EQ(f.calls, (QStringList{"quickdim", "clear", "next", "date", "right"}));
    f.manager.onSnapRightHotKeyPressed = nullptr;  // an empty callback is ignored
    f.manager.handleHotKey(10);
}

TEST(HotKeyManager, windowSwitcherTargetsThePreviousApplication)
{
    Fixture f;
    f.manager.applyHotKeys(f.settings);
    // Tamsinvale itself in front and nothing active before it: nothing happens.
    f.desktop.workspace.setFrontmost(FakeDesktop::ownPid);
    f.manager.handleHotKey(2);
    EXPECT_TRUE(f.calls.isEmpty());

    f.desktop.addAppWithWindow(10, "org.example.Editor", "Editor", QRectF(0, 25, 500, 500));
    f.desktop.addAppWithWindow(11, "org.example.Mail", "Mail", QRectF(0, 25, 500, 500));
    f.desktop.workspace.setFrontmost(11);
    f.desktop.workspace.setFrontmost(10);
    f.desktop.workspace.setFrontmost(FakeDesktop::ownPid);  // our own settings window comes forward
    f.manager.handleHotKey(2);
    EXPECT_EQ(f.calls, QStringList{"windows 10 Editor"});

    // The previous application has quit: fall back to the frontmost one, unless it is us.
    f.calls.clear();
    f.desktop.workspace.terminate(10);
    f.manager.handleHotKey(2);
    EXPECT_TRUE(f.calls.isEmpty());
    f.desktop.workspace.setFrontmost(11);
    f.desktop.workspace.terminate(11);
    f.desktop.addAppWithWindow(12, "", "Untitled", QRectF(0, 25, 500, 500));
    auto app = *f.desktop.workspace.runningApplication(12);
    app.localizedName.clear();
    f.desktop.workspace.addApplication(app);
    f.desktop.workspace.setFrontmost(12);
    f.manager.handleHotKey(2);
    EXPECT_EQ(f.calls, QStringList{"windows 12 "});
}

TEST(HotKeyManager, aHotkeyWhosePressesNeverArriveIsReportedOnceByNameAndNotAsAFailedRegistration)
{
    Fixture f;
    QSignalSpy taken(&f.manager, &HotKeyManager::hotkeyTaken);
    f.manager.applyHotKeys(f.settings);
    // The backend saw the app switcher's combination pressed without its press reaching us, twice.
    emit f.desktop.hotkeys.notDelivered(1);
    emit f.desktop.hotkeys.notDelivered(1);
    ASSERT_EQ(taken.count(), 1);
    EXPECT_EQ(taken.at(0).at(0).toString(), f.manager.takenRegistrations().value(0));
    EXPECT_FALSE(f.manager.takenRegistrations().value(0).isEmpty());
    EXPECT_TRUE(f.manager.failedRegistrations().isEmpty());
    // An identifier that is not registered names nothing.
    emit f.desktop.hotkeys.notDelivered(77);
    EXPECT_EQ(taken.count(), 1);
    // A registration taken after re-applying (the settings changed) is still reported only once.
    f.manager.applyHotKeys(f.settings);
    emit f.desktop.hotkeys.notDelivered(1);
    EXPECT_EQ(taken.count(), 1);
}
