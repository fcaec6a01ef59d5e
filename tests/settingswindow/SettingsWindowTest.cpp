// The settings window on the simulated desktop: one window brought forward, pages shown by name, recording a
// hotkey through a page's field with the global hotkeys suspended meanwhile (also when the window closes
// mid-recording), edits made in widgets reaching the store, and the window following changes made elsewhere.
#include <gtest/gtest.h>

#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

#include "TestSupport.h"
#include "hotkeys/HotKeyManager.h"
#include "platform/fake/FakeDesktop.h"
#include "settings/SettingsStore.h"
#include "settingswindow/HotkeysPage.h"
#include "settingswindow/SettingsWindow.h"
#include "settingswindow/SettingsWindowController.h"
#include "settingswindow/WindowSizesPage.h"
#include "switcher/ShortcutStore.h"
#include "windows/FocusTracker.h"

using namespace tamsinvale;

namespace {

struct Fixture {
    FakeDesktop desktop;
    SettingsStore settings{desktop.defaults};
    FocusTracker tracker{desktop.workspace};
    HotKeyManager hotKeys{desktop.hotkeys, desktop.workspace, tracker, desktop.scheduler};
    ShortcutStore shortcuts{desktop.platform()};
    std::unique_ptr<SettingsWindowController> controller;

    Fixture()
    {
        hotKeys.applyHotKeys(settings);
        SettingsWindowContext context;
        context.platform = desktop.platform();
        context.settings = &settings;
        context.hotKeys = &hotKeys;
        context.shortcuts = &shortcuts;
        context.version = QStringLiteral("0.1.0");
        controller = std::make_unique<SettingsWindowController>(context);
    }

    SettingsWindow& open(std::optional<SettingsPage> page = std::nullopt)
    {
        controller->show(page);
        SettingsWindow* window = controller->window();
        EXPECT_TRUE(QTest::qWaitForWindowActive(window));
        return *window;
    }
};

}  // namespace

TEST(SettingsWindow, oneWindowShownAgainOnTheAskedPage)
{
    Fixture f;
    SettingsWindow& window = f.open();
    EXPECT_EQ(window.windowTitle(), "Tamsinvale Settings");
    EXPECT_EQ(window.currentPage(), SettingsPage::dimming);
    f.controller->show(SettingsPage::windowSizes);
    EXPECT_EQ(f.controller->window(), &window);
    EXPECT_EQ(window.currentPage(), SettingsPage::windowSizes);
    f.controller->close();
    EXPECT_FALSE(f.controller->isOpen());
    // Reopened where it was, the same window.
    f.controller->show();
    EXPECT_TRUE(f.controller->isOpen());
    EXPECT_EQ(f.controller->window(), &window);
    EXPECT_EQ(window.currentPage(), SettingsPage::windowSizes);
    // Escape closes it.
    QTest::keyClick(&window, Qt::Key_Escape);
    EXPECT_FALSE(f.controller->isOpen());
}

TEST(SettingsWindow, recordingSuspendsTheHotkeysAndTheNewCombinationIsRegisteredAfterwards)
{
    Fixture f;
    SettingsWindow& window = f.open(SettingsPage::hotkeys);
    auto* page = qobject_cast<HotkeysPage*>(window.page(SettingsPage::hotkeys));
    ASSERT_TRUE(page);
    HotkeyCaptureTextField* field = page->recorder(HotKeyKind::appSwitcher);
    ASSERT_TRUE(field);
    ASSERT_EQ(f.desktop.hotkeys.registrations().size(), 4);

    QTest::mouseClick(field, Qt::LeftButton);
    ASSERT_TRUE(field->isRecording());
    EXPECT_TRUE(f.controller->hotkeysSuspended());
    EXPECT_TRUE(f.desktop.hotkeys.registrations().isEmpty()) << "the combination must reach the field";

    QTest::keyClick(field, Qt::Key_Space, Qt::ControlModifier);
    EXPECT_EQ(field->text(), "⌃ Space");
    EXPECT_EQ(f.settings.settings().appSwitcherHotKey, (HotKeyConfig{49, 4096}));
    EXPECT_FALSE(f.controller->hotkeysSuspended());
    const auto regs = f.desktop.hotkeys.registrations();
    ASSERT_EQ(regs.size(), 4);
    EXPECT_EQ(regs[0].identifier, 1u);
    EXPECT_EQ(regs[0].modifiers, 4096u);

    // Closed while a field records: the hotkeys come back all the same.
    QTest::mouseClick(page->recorder(HotKeyKind::snapLeft), Qt::LeftButton);
    ASSERT_TRUE(f.desktop.hotkeys.registrations().isEmpty());
    f.controller->close();
    EXPECT_FALSE(f.controller->hotkeysSuspended());
    EXPECT_EQ(f.desktop.hotkeys.registrations().size(), 4);
}

TEST(SettingsWindow, refusedRegistrationsAreWarnedAboutLive)
{
    Fixture f;
    SettingsWindow& window = f.open(SettingsPage::hotkeys);
    auto* page = qobject_cast<HotkeysPage*>(window.page(SettingsPage::hotkeys));
    ASSERT_TRUE(page);
    EXPECT_FALSE(page->warning()->isVisibleTo(page));
    f.desktop.hotkeys.failCombination(123, 6144);
    f.hotKeys.applyHotKeys(f.settings);
    EXPECT_TRUE(page->warning()->isVisibleTo(page));
    EXPECT_TRUE(page->warning()->text().contains("could not be registered, most likely because another app already "
                                                 "uses the same combination: Snap Left. Record a different"));
    // Recording another combination for it clears the warning.
    f.desktop.hotkeys.clearFailures();
    f.hotKeys.applyHotKeys(f.settings);
    EXPECT_FALSE(page->warning()->isVisibleTo(page));
}

TEST(SettingsWindow, presetEditsGoToTheStoreAndOutsideChangesShowUp)
{
    Fixture f;
    SettingsWindow& window = f.open(SettingsPage::windowSizes);
    auto* page = qobject_cast<WindowSizesPage*>(window.page(SettingsPage::windowSizes));
    ASSERT_TRUE(page);
    ASSERT_EQ(page->rows().size(), 1);

    // Typing a width as a person does: select it all, type over it.
    QLineEdit* width = page->rows()[0].width;
    QTest::mouseClick(width, Qt::LeftButton);
    width->selectAll();
    QTest::keyClicks(width, "1x");
    EXPECT_EQ(f.settings.settings().windowSizePresets[0].width, "1x");
    EXPECT_TRUE(page->rows()[0].widthWarning->isVisibleTo(page));
    EXPECT_EQ(page->rows()[0].widthWarning->toolTip(),
              "Not a valid width. Use \"full\", a fraction like .95, or points like 1440.");
    QTest::keyClick(width, Qt::Key_Backspace);
    EXPECT_EQ(f.settings.settings().windowSizePresets[0].width, "1");
    EXPECT_FALSE(page->rows()[0].widthWarning->isVisibleTo(page));
    // The field being typed in keeps its focus through the save.
    EXPECT_TRUE(width->hasFocus());

    QTest::mouseClick(page->addButton(), Qt::LeftButton);
    ASSERT_EQ(page->rows().size(), 2);
    EXPECT_EQ(page->rows()[1].name->text(), "New Size");
    EXPECT_EQ(page->rows()[1].width->text(), ".8");
    QTest::mouseClick(page->rows()[1].up, Qt::LeftButton);
    EXPECT_EQ(f.settings.settings().windowSizePresets[0].name, "New Size");

    // Another process (the command line) rewrites the list: the page follows once the store reloads.
    const QUuid id("{6B1A2F3C-0000-4000-8000-A11F00000009}");
    f.desktop.defaults.setValue(
        "tamsinvale.settings.window.sizes",
        WindowSizePreset::listToJsonData({WindowSizePreset{id, "Half", ".5", "full", HotKeyConfig{4, 256}}}));
    f.settings.reload();
    ASSERT_EQ(page->rows().size(), 1);
    EXPECT_EQ(page->rows()[0].name->text(), "Half");
    EXPECT_EQ(page->rows()[0].hotKey->text(), "⌘ H");
    QTest::mouseClick(page->rows()[0].remove, Qt::LeftButton);
    EXPECT_TRUE(f.settings.settings().windowSizePresets.isEmpty());
}
