// What each settings page shows and what its edits write: hotkey rows and the refusal warning, preset rows with
// their validation and reordering, dimming and inactive-apps choices, the general page, and app shortcut edits
// with conflicts named by their holder.
#include <gtest/gtest.h>

#include "platform/fake/FakeDesktop.h"
#include "platform/fake/FakeLoginItems.h"
#include "platform/fake/FakeSoftwareUpdater.h"
#include "services/LoginItem.h"
#include "services/PermissionsMonitor.h"
#include "services/Updater.h"
#include "settings/SettingsStore.h"
#include "settingswindow/AppShortcutsPageModel.h"
#include "settingswindow/DimmingPageModel.h"
#include "settingswindow/GeneralPageModel.h"
#include "settingswindow/HotkeysPageModel.h"
#include "settingswindow/InactiveAppsPageModel.h"
#include "settingswindow/SettingsPage.h"
#include "settingswindow/WindowSizesPageModel.h"
#include "switcher/ShortcutStore.h"

using namespace tamsinvale;

namespace {

DiscoveredApp app(const QString& id, const QString& name, bool withIdentifier = true)
{
    return DiscoveredApp{id, name, withIdentifier ? std::optional<QString>(id) : std::nullopt,
                         "/usr/share/applications/" + id + ".desktop", {}};
}

const QList<DiscoveredApp> installed{app("org.gnome.Calculator", "Calculator"), app("debian-xterm", "XTerm"),
                                     app("firefox-esr", "Firefox ESR"), app("/opt/tool/tool.desktop", "Tool", false)};

}  // namespace

TEST(HotkeysPageModel, rowsShowStoredCombinationsWithTheirDefaultsAndEditsWriteTheStore)
{
    FakeDesktop desktop;
    SettingsStore store{desktop.defaults};
    store.set(&Settings::snapLeftHotKey, std::optional<HotKeyConfig>(HotKeyConfig{123, 256}));
    const QList<HotkeyRow> rows = HotkeysPageModel::rows(store.settings());
    QStringList titles;
    for (const HotkeyRow& row : rows)
        titles << row.title;
    EXPECT_EQ(titles, (QStringList{"App Switcher", "Window Switcher", "Quick Dim", "Clear Inactive Screens",
                                   "Move to Next Display", "Insert Date", "Snap Left", "Snap Right"}));
    EXPECT_EQ(rows[0].defaultHelp, "Default: ⌘ Space");
    EXPECT_FALSE(rows[0].hotKey);
    EXPECT_EQ(rows[1].defaultHelp, "Default: ⌘ §");
    // The help says the default as people do (⌃ before ⌥); the field shows the glyph order.
    EXPECT_EQ(rows[6].defaultHelp, "Default: ⌃ ⌥ ←");
    EXPECT_EQ(rows[6].hotKey, (HotKeyConfig{123, 256}));
    EXPECT_EQ(rows[7].defaultHelp, "Default: ⌃ ⌥ →");
    EXPECT_EQ(rows[2].defaultHelp, "No default");

    HotkeysPageModel::setHotKey(store, HotKeyKind::appSwitcher, HotKeyConfig{49, 4096});
    EXPECT_EQ(HotKeyConfig::fromJsonData(desktop.defaults.value("tamsinvale.settings.hotkey.app").value_or(QVariant()).toByteArray()),
              (HotKeyConfig{49, 4096}));
    // Clearing removes the key, so the default applies again.
    HotkeysPageModel::setHotKey(store, HotKeyKind::snapLeft, std::nullopt);
    EXPECT_FALSE(desktop.defaults.value("tamsinvale.settings.hotkey.snapleft").has_value());
    HotkeysPageModel::setHotKey(store, HotKeyKind::insertDate, HotKeyConfig{2, 256 | 4096});
    EXPECT_EQ(store.settings().insertDateHotKey, (HotKeyConfig{2, 256 | 4096}));

    EXPECT_FALSE(HotkeysPageModel::failureWarning({}));
    EXPECT_EQ(HotkeysPageModel::failureWarning({"App Switcher", "Window Size 'Half'"}),
              "These hotkeys could not be registered, most likely because another app already uses the same "
              "combination: App Switcher, Window Size 'Half'. Record a different combination or free it up in the "
              "other app.");
}

TEST(WindowSizesPageModel, rowsMarkWhatDoesNotParseAndReorderingMovesWithinTheList)
{
    FakeDesktop desktop;
    SettingsStore store{desktop.defaults};
    const QUuid half = store.addPreset();
    store.setPresetName(half, "Half");
    store.setPresetWidth(half, ".5");
    store.setPresetHeight(half, "10");  // the dead band between 1 and 50
    const QUuid wide = store.addPreset();
    store.setPresetWidth(wide, "1440");
    store.setPresetHeight(wide, ".95x");

    QList<PresetRow> rows = WindowSizesPageModel::rows(store.settings());
    ASSERT_EQ(rows.size(), 3);
    EXPECT_EQ(rows[0].name, "Full");
    EXPECT_FALSE(rows[0].widthWarning);
    EXPECT_FALSE(rows[0].canMoveUp);
    EXPECT_TRUE(rows[0].canMoveDown);
    EXPECT_EQ(rows[1].width, ".5");
    EXPECT_FALSE(rows[1].widthWarning);
    EXPECT_EQ(rows[1].heightWarning,
              "Not a valid height. Use \"full\", a fraction like .95, or points like 1440.");
    EXPECT_EQ(rows[2].name, "New Size");
    EXPECT_FALSE(rows[2].widthWarning);
    EXPECT_EQ(rows[2].heightWarning,
              "Not a valid height. Use \"full\", a fraction like .95, or points like 1440.");
    EXPECT_FALSE(rows[2].canMoveDown);
    EXPECT_EQ(WindowSizesPageModel::invalidHelp("Width"),
              "Not a valid width. Use \"full\", a fraction like .95, or points like 1440.");
    EXPECT_EQ(WindowSizesPageModel::fieldHelp, "\"full\", a fraction of the available space like .95, or points like 1440");

    // The invalid text is kept and saved as typed.
    EXPECT_TRUE(desktop.defaults.value("tamsinvale.settings.window.sizes").value_or(QVariant()).toByteArray().contains("\".95x\""));

    WindowSizesPageModel::move(store, wide, -1);
    rows = WindowSizesPageModel::rows(store.settings());
    EXPECT_EQ(rows[1].id, wide);
    EXPECT_EQ(rows[2].id, half);
    // Past either end nothing moves.
    WindowSizesPageModel::move(store, WindowSizePreset::full().id, -1);
    WindowSizesPageModel::move(store, half, +1);
    rows = WindowSizesPageModel::rows(store.settings());
    EXPECT_EQ(rows[0].id, WindowSizePreset::full().id);
    EXPECT_EQ(rows[2].id, half);
    const auto saved = WindowSizePreset::listFromJsonData(desktop.defaults.value("tamsinvale.settings.window.sizes").value_or(QVariant()).toByteArray());
    ASSERT_TRUE(saved);
    EXPECT_EQ((*saved)[1].id, wide);
}

TEST(DimmingPageModel, choicesScreensAndEdits)
{
    FakeDesktop desktop;
    SettingsStore store{desktop.defaults};
    store.update([](Settings& s) {
        s.focusDimExcludedApps = {"firefox-esr", "org.gone.App"};
        s.quickDimAppID = QStringLiteral("org.gnome.Calculator");
        s.focusDimWallpaperDarkening = 0.256;
    });
    desktop.bookmarks.addFile("/pictures/left.png");
    ScreenInfo left;
    left.displayId = 1;
    left.localizedName = "DP-1";
    left.uuid = "UUID-LEFT";
    ScreenInfo right;
    right.displayId = 2;
    right.localizedName = "HDMI-1";
    right.uuid = "UUID-RIGHT";
    DimmingPageModel::setScreenPicture(store, desktop.bookmarks, "UUID-LEFT", QStringLiteral("/pictures/left.png"));

    DimmingPageState state = DimmingPageModel::state(store.settings(), installed, {left, right}, &desktop.bookmarks);
    EXPECT_EQ(state.darkeningPercent, 26);
    // Excluded apps by name, an uninstalled one by its identifier; the others offered to add.
    ASSERT_EQ(state.excludedApps.size(), 2);
    EXPECT_EQ(state.excludedApps[0].name, "Firefox ESR");
    EXPECT_EQ(state.excludedApps[1].name, "org.gone.App");
    QStringList addable;
    for (const AppChoice& c : state.excludableApps)
        addable << c.id;
    EXPECT_EQ(addable, (QStringList{"org.gnome.Calculator", "Tool", "debian-xterm"}));
    // Quick dim needs an identifier: the app without one is not offered.
    ASSERT_EQ(state.quickDimChoices.size(), 3);
    EXPECT_EQ(state.quickDimChoices[state.quickDimIndex].id, "org.gnome.Calculator");
    ASSERT_EQ(state.screens.size(), 2);
    EXPECT_EQ(state.screens[0].screenName, "DP-1");
    EXPECT_EQ(state.screens[0].pictureText, "left.png");
    EXPECT_EQ(state.screens[1].pictureText, "Same as all screens");

    // A picture that went away says so; black background turns the picture controls off.
    desktop.bookmarks.removeFile("/pictures/left.png");
    store.set(&Settings::focusDimBlackBackground, true);
    state = DimmingPageModel::state(store.settings(), installed, {left, right}, &desktop.bookmarks);
    EXPECT_EQ(state.screens[0].pictureText, "Picture not found");
    EXPECT_FALSE(state.pictureControlsEnabled);

    DimmingPageModel::setDarkeningPercent(store, 140);
    EXPECT_DOUBLE_EQ(store.settings().focusDimWallpaperDarkening, 1.0);
    DimmingPageModel::setMenuBarOpacityPercent(store, 25);
    EXPECT_DOUBLE_EQ(desktop.defaults.value("tamsinvale.settings.dim.opacity").value_or(QVariant()).toDouble(), 0.25);
    DimmingPageModel::setExcluded(store, "Tool", true);
    DimmingPageModel::setExcluded(store, "firefox-esr", false);
    EXPECT_EQ(desktop.defaults.value("tamsinvale.settings.focus.excluded.apps").value_or(QVariant()).toStringList(),
              (QStringList{"Tool", "org.gone.App"}));
    DimmingPageModel::setQuickDimApp(store, std::nullopt);
    EXPECT_FALSE(desktop.defaults.value("tamsinvale.settings.focus.quickdim.app").has_value());
    DimmingPageModel::setScreenPicture(store, desktop.bookmarks, "UUID-LEFT", std::nullopt);
    EXPECT_TRUE(store.settings().focusDimPerScreenImageBookmarks.isEmpty());
}

TEST(InactiveAppsPageModel, thresholdChoicesKeepAValueSetElsewhereAndEditsSave)
{
    FakeDesktop desktop;
    SettingsStore store{desktop.defaults};
    InactiveAppsPageState state = InactiveAppsPageModel::state(store.settings(), installed);
    EXPECT_EQ(state.thresholdLabels, (QStringList{"12 hours", "24 hours", "48 hours", "3 days", "1 week"}));
    EXPECT_EQ(state.thresholdIndex, 2);

    store.set(&Settings::inactiveThresholdHours, 36.0);
    state = InactiveAppsPageModel::state(store.settings(), installed);
    ASSERT_EQ(state.thresholdLabels.size(), 6);
    EXPECT_EQ(state.thresholdIndex, 5);
    EXPECT_EQ(state.thresholdHours[5], 36.0);

    InactiveAppsPageModel::setThresholdHours(store, 72);
    EXPECT_DOUBLE_EQ(desktop.defaults.value("tamsinvale.settings.inactive.threshold.hours").value_or(QVariant()).toDouble(), 72.0);
    InactiveAppsPageModel::setExcluded(store, "debian-xterm", true);
    state = InactiveAppsPageModel::state(store.settings(), installed);
    ASSERT_EQ(state.excludedApps.size(), 1);
    EXPECT_EQ(state.excludedApps[0].name, "XTerm");
    EXPECT_EQ(state.excludableApps.size(), 3);
    EXPECT_EQ(desktop.defaults.value("tamsinvale.settings.inactive.excluded.apps").value_or(QVariant()).toStringList(),
              QStringList{"debian-xterm"});
}

TEST(GeneralPageModel, loginItemIconStylePermissionsAndUpdates)
{
    FakeDesktop desktop;
    SettingsStore store{desktop.defaults};
    store.set(&Settings::menuBarIconStyle, MenuBarIconStyle::line);
    FakeLoginItems loginItems;
    LoginItem loginItem(loginItems);
    desktop.server.setTrusted(false);
    PermissionsMonitor permissions(*desktop.platform().accessibility, desktop.scheduler);

    GeneralPageState state = GeneralPageModel::state(store.settings(), &loginItem, &permissions, nullptr, "0.1.0");
    EXPECT_TRUE(state.launchAtLoginAvailable);
    EXPECT_FALSE(state.launchAtLogin);
    EXPECT_EQ(state.iconStyles, (QStringList{"Windows", "Line"}));
    EXPECT_EQ(state.iconStyleIndex, 1);
    EXPECT_TRUE(state.banner.visible);
    EXPECT_EQ(state.banner.accessibility.state, PermissionRow::State::missing);
    EXPECT_EQ(state.versionText, "Tamsinvale 0.1.0");
    // No update framework (Linux): nothing about updates.
    EXPECT_FALSE(state.updatesAvailable);

    loginItem.setEnabled(true);
    FakeSoftwareUpdater framework;
    Updater updater(desktop.defaults, &framework);
    updater.start();
    state = GeneralPageModel::state(store.settings(), &loginItem, &permissions, &updater, "0.1.0");
    EXPECT_TRUE(state.launchAtLogin);
    EXPECT_TRUE(state.updatesAvailable);
    EXPECT_FALSE(GeneralPageModel::state(store.settings(), nullptr, nullptr, nullptr, "0.1.0").launchAtLoginAvailable);
}

TEST(AppShortcutsPageModel, keyEditsApplyOrAreRefusedNamingWhoHoldsTheKeys)
{
    FakeDesktop desktop;
    ShortcutStore store(desktop.platform());
    const DiscoveredApp& calculator = installed[0];
    const DiscoveredApp& xterm = installed[1];
    const DiscoveredApp& firefox = installed[2];

    EXPECT_FALSE(AppShortcutsPageModel::setDiscoveredKeys(store, installed, xterm, "X", ""));
    EXPECT_EQ(store.discoveredKeyMap().value("debian-xterm"), "x");
    EXPECT_FALSE(AppShortcutsPageModel::setDiscoveredKeys(store, installed, calculator, "c", "a"));
    QList<ShortcutRow> rows = AppShortcutsPageModel::discoveredRows(store, installed);
    EXPECT_EQ(rows[0].name, "Calculator");
    EXPECT_EQ(rows[0].firstKey, "c");
    EXPECT_EQ(rows[0].secondKey, "a");
    EXPECT_EQ(rows[1].firstKey, "x");

    // Taken sequences are refused and nothing changes.
    EXPECT_EQ(AppShortcutsPageModel::setDiscoveredKeys(store, installed, firefox, "x", ""),
              "The key \"x\" is already used by XTerm.");
    EXPECT_EQ(AppShortcutsPageModel::setDiscoveredKeys(store, installed, firefox, "C", "A"),
              "The keys \"c a\" are already used by Calculator.");
    EXPECT_FALSE(store.discoveredKey(firefox));
    // A one-key binding beside a two-key one with the same first key is allowed (the switcher waits).
    EXPECT_FALSE(AppShortcutsPageModel::setDiscoveredKeys(store, installed, firefox, "c", ""));
    // An app may keep its own keys while changing the second.
    EXPECT_FALSE(AppShortcutsPageModel::setDiscoveredKeys(store, installed, calculator, "c", "b"));
    EXPECT_EQ(store.discoveredSecondKey(calculator), "b");
    EXPECT_EQ(AppShortcutsPageModel::setDiscoveredKeys(store, installed, xterm, "f", ""),
              AppShortcutsPageModel::filterKeyMessage);
    EXPECT_EQ(AppShortcutsPageModel::setDiscoveredKeys(store, installed, xterm, "", "q"),
              AppShortcutsPageModel::secondWithoutFirstMessage);
    EXPECT_EQ(store.discoveredKey(xterm), "x");

    // Custom targets: conflicts both ways, then removal of the first key drops the second.
    desktop.bookmarks.addFile("/home/u/board.py");
    const auto script = store.addShortcut("/home/u/board.py");
    ASSERT_TRUE(script);
    EXPECT_EQ(AppShortcutsPageModel::setCustomKeys(store, installed, *script, "x", ""),
              "The key \"x\" is already used by XTerm.");
    EXPECT_FALSE(AppShortcutsPageModel::setCustomKeys(store, installed, *script, "t", "e"));
    EXPECT_EQ(AppShortcutsPageModel::setDiscoveredKeys(store, installed, firefox, "t", "e"),
              "The keys \"t e\" are already used by board.");
    const QList<ShortcutRow> custom = AppShortcutsPageModel::customRows(store);
    ASSERT_EQ(custom.size(), 1);
    EXPECT_EQ(custom[0].firstKey, "t");
    EXPECT_EQ(custom[0].secondKey, "e");
    EXPECT_TRUE(custom[0].detail.startsWith("Python script")) << custom[0].detail.toStdString();
    EXPECT_EQ(AppShortcutsPageModel::setCustomKeys(store, installed, *script, "", "e"),
              AppShortcutsPageModel::secondWithoutFirstMessage);
    EXPECT_FALSE(AppShortcutsPageModel::setCustomKeys(store, installed, *script, "", ""));
    EXPECT_FALSE(store.shortcut(*script)->key);
    EXPECT_FALSE(store.shortcut(*script)->secondKey);

    // Keys of an app that is no longer installed are listed, and can be dropped.
    const QList<DiscoveredApp> fewer{calculator, firefox};
    const QList<OrphanRow> orphans = AppShortcutsPageModel::orphanRows(store, fewer);
    ASSERT_EQ(orphans.size(), 1);
    EXPECT_EQ(orphans[0], (OrphanRow{"debian-xterm", "x"}));
    store.removeOrphan(orphans[0].bindingKey);
    EXPECT_TRUE(AppShortcutsPageModel::orphanRows(store, fewer).isEmpty());
}

TEST(SettingsPage, namesForTheCommandLine)
{
    QStringList names;
    for (SettingsPage page : allSettingsPages())
        names << settingsPageName(page);
    EXPECT_EQ(names, (QStringList{"dimming", "wallpapers", "hotkeys", "app-shortcuts", "window-sizes",
                                  "inactive-apps", "general"}));
    EXPECT_EQ(settingsPageNamed(" Window-Sizes "), SettingsPage::windowSizes);
    EXPECT_EQ(settingsPageNamed("Wallpapers"), SettingsPage::wallpapers);
    EXPECT_FALSE(settingsPageNamed("pictures"));
}
