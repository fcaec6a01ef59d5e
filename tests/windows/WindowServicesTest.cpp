// The window commands wired into the application on the simulated desktop: hotkeys, the menu item and
// `tamsinvale ctl` reach the resizer and the window switcher, and each picks the application it acts on.
#include <gtest/gtest.h>

#include "app/TamsinvaleApp.h"
#include "hotkeys/HotKeyManager.h"
#include "platform/fake/FakeDesktop.h"
#include "platform/fake/FakeKeyboardCapture.h"
#include "settings/HotKeyKind.h"
#include "settings/SettingsStore.h"
#include "windows/WindowDataProvider.h"
#include "windows/WindowServices.h"
#include "windows/WindowsSwitcherWindowController.h"

using namespace tamsinvale;

namespace {

constexpr std::int32_t editorPid = 200;

struct Wired {
    FakeDesktop desktop;
    SettingsStore settings{desktop.defaults};
    FakeKeyboardCapture capture;
    QList<DisplayId> covered;
    QStringList dimmingRefreshes;
    std::unique_ptr<WindowServices> windows;
    std::unique_ptr<TamsinvaleApp> app;
    WindowNumber editor = 0;

    Wired()
    {
        desktop.screens.setScreens({FakeScreens::makeScreen(1, QRectF(0, 0, 1512, 982)),
                                    FakeScreens::makeScreen(2, QRectF(1512, 0, 1280, 982))});
        WindowOptions options;
        options.keyboardCapture = &capture;
        options.coverScreenAfterWindowMoved = [this](const ScreenInfo& s) { covered << s.displayId; };
        options.refreshFocusDimming = [this](const QString& reason) { dimmingRefreshes << reason; };
        windows = std::make_unique<WindowServices>(desktop.platform(), std::move(options));
        AppServices services;
        windows->install(services);
        app = std::make_unique<TamsinvaleApp>(desktop.platform(), settings, services);
        windows->setFocusTracker(&app->focusTracker());
        app->start();
        editor = desktop.addAppWithWindow(editorPid, "org.editor", "Editor", QRectF(100, 100, 400, 300));
        desktop.workspace.setFrontmost(editorPid);
    }
    void ourWindowInFront()
    {
        desktop.addAppWithWindow(FakeDesktop::ownPid, "org.tamsinvale.Tamsinvale", "Tamsinvale",
                                 QRectF(400, 300, 500, 400));
        desktop.workspace.setFrontmost(FakeDesktop::ownPid);
    }
    QRectF bounds() { return desktop.server.window(editor)->bounds; }
};

}  // namespace

TEST(WindowCommands, theCommandLineActsThroughTheResizer)
{
    Wired w;
    WindowSizePreset half = WindowSizePreset::makeNew();
    half.name = QStringLiteral("Half");
    half.width = QStringLiteral(".5");
    half.height = QStringLiteral("full");
    w.settings.set(&Settings::windowSizePresets, QList<WindowSizePreset>{WindowSizePreset::full(), half});

    EXPECT_EQ(w.app->performAction("size", "half").message, QString());
    EXPECT_EQ(w.bounds(), QRectF(378, 25, 756, 957));
    EXPECT_TRUE(w.app->performAction("snap-right", "").ok);
    EXPECT_EQ(w.bounds(), QRectF(756, 25, 756, 957));
    const ActionResult moved = w.app->performAction("next-display", "");
    EXPECT_TRUE(moved.ok);
    EXPECT_TRUE(moved.message.isEmpty()) << moved.message.toStdString();
    EXPECT_EQ(w.bounds(), QRectF(1512 + 1280 - 756, 25, 756, 957));
    EXPECT_EQ(w.covered, QList<DisplayId>{1});
    // With our own window in front the commands still act on the editor.
    w.ourWindowInFront();
    EXPECT_TRUE(w.app->performAction("snap-left", "").ok);
    EXPECT_EQ(w.bounds(), QRectF(1512, 25, 640, 957));
    EXPECT_FALSE(w.app->performAction("size", "quarter").ok);
}

TEST(WindowCommands, presetHotkeysApplyTheirPreset)
{
    Wired w;
    WindowSizePreset third = WindowSizePreset::makeNew();
    third.name = QStringLiteral("Third");
    third.width = QStringLiteral("504");
    third.height = QStringLiteral("full");
    third.hotKey = HotKeyConfig{3, 256};
    w.settings.set(&Settings::windowSizePresets, QList<WindowSizePreset>{third});
    w.app->hotKeyManager().applyHotKeys(w.settings);
    w.app->hotKeyManager().handleHotKey(HotKeyManager::resizeHotKeyBaseID);
    EXPECT_EQ(w.bounds(), QRectF(504, 25, 504, 957));
}

TEST(WindowCommands, theHotkeyListsTheApplicationBeforeTamsinvaleAndTheMenuItemOnlyTheFrontmostOne)
{
    Wired w;
    w.ourWindowInFront();
    // The menu item takes the frontmost application, which is Tamsinvale: nothing opens.
    w.app->perform(MenuCommand::showWindowSwitcher);
    EXPECT_FALSE(w.windows->switcher().isOpen());
    // The hotkey (and `ctl window-switcher`) takes the application the user came from.
    w.app->hotKeyManager().handleHotKey(HotKeyIds::windowsSwitcher);
    ASSERT_TRUE(w.windows->switcher().isOpen());
    EXPECT_EQ(w.windows->switcher().provider()->targetPid(), editorPid);
    EXPECT_EQ(w.windows->switcher().provider()->windows().size(), 1);
    EXPECT_TRUE(w.capture.isCapturing());

    // Choosing the window raises it and dimming is asked to follow.
    w.capture.press(125, QString());
    w.capture.press(36, QStringLiteral("\r"));
    EXPECT_FALSE(w.windows->switcher().isOpen());
    w.desktop.scheduler.advance(0.1);
    EXPECT_EQ(w.dimmingRefreshes, QStringList{"windowsSwitch"});
    EXPECT_EQ(w.desktop.workspace.frontmostApplication()->pid, editorPid);

    // From the menu with the editor in front: its windows.
    w.app->perform(MenuCommand::showWindowSwitcher);
    EXPECT_TRUE(w.windows->switcher().isOpen());
    for (const MenuItem& item : w.app->menu()) {
        if (item.command == MenuCommand::showWindowSwitcher) {
            EXPECT_TRUE(item.enabled);
        }
    }
}
