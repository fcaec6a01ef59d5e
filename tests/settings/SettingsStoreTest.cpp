// Loading rules, saving rules, change signals and preset editing of the settings store.
#include <gtest/gtest.h>

#include <QMetaMethod>
#include <QSignalSpy>

#include "platform/fake/FakeDefaults.h"
#include "settings/SettingsSchema.h"
#include "settings/SettingsStore.h"

using namespace tamsinvale;

namespace {
const QString opacityKey = QStringLiteral("tamsinvale.settings.dim.opacity");
const QString iconKey = QStringLiteral("tamsinvale.settings.menubar.iconStyle");
const QString appHotKey = QStringLiteral("tamsinvale.settings.hotkey.app");
const QString presetsKey = QStringLiteral("tamsinvale.settings.window.sizes");
}  // namespace

TEST(SettingsStore, freshDomainGivesTheDefaults)
{
    FakeDefaults defaults;
    SettingsStore store(defaults);
    const Settings& s = store.settings();
    EXPECT_TRUE(store.isLoaded());
    EXPECT_TRUE(s.dimMenuBarEnabled);
    EXPECT_DOUBLE_EQ(s.dimMenuBarOpacity, 0.4);
    EXPECT_TRUE(s.focusDimEnabled);
    EXPECT_DOUBLE_EQ(s.focusDimWallpaperDarkening, 0.1);
    EXPECT_FALSE(s.focusDimBackgroundImageBookmark);
    EXPECT_EQ(s.wallpaperRotationHours, 0);
    EXPECT_DOUBLE_EQ(s.inactiveThresholdHours, 48);
    EXPECT_TRUE(s.sleepOnLidCloseEnabled);
    EXPECT_EQ(s.menuBarIconStyle, MenuBarIconStyle::windows);
    EXPECT_FALSE(s.appSwitcherHotKey || s.windowsSwitcherHotKey || s.quickDimHotKey || s.clearInactiveScreensHotKey
                 || s.moveToNextScreenHotKey || s.insertDateHotKey || s.snapLeftHotKey || s.snapRightHotKey);
    EXPECT_EQ(s.windowSizePresets, WindowSizePreset::defaultList());
    EXPECT_EQ(s, Settings{});
    // Loading never writes the settings back.
    EXPECT_EQ(defaults.writeCount(), 0);
}

TEST(SettingsStore, valuesOfTheWrongTypeLoadAsDefaults)
{
    FakeDefaults defaults;
    defaults.setValue(opacityKey, QStringLiteral("0.7"));
    defaults.setValue(iconKey, QStringLiteral("Line"));
    defaults.setValue(QStringLiteral("tamsinvale.settings.dim.enabled"), QStringLiteral("no"));
    defaults.setValue(QStringLiteral("tamsinvale.settings.focus.darken"), qint64(1));
    defaults.setValue(QStringLiteral("tamsinvale.settings.focus.perscreen.bookmarks"), 3);
    defaults.setValue(QStringLiteral("tamsinvale.settings.focus.image.perscreen.bookmarks"),
                      QVariantMap{{"A", QByteArray("x")}, {"B", QStringLiteral("not data")}});
    defaults.setValue(QStringLiteral("tamsinvale.settings.wallpaper.history"),
                      QVariantList{QByteArray("a"), QStringLiteral("b")});
    defaults.setValue(QStringLiteral("tamsinvale.settings.wallpaper.rotation.bookmarks"), QVariantList{QByteArray("a")});
    defaults.setValue(QStringLiteral("tamsinvale.settings.focus.excluded.apps"), QVariantList{QStringLiteral("a"), 1});
    defaults.setValue(appHotKey, QByteArray(R"({"keyCode":49})"));
    defaults.setValue(QStringLiteral("tamsinvale.settings.hotkey.snapleft"), QStringLiteral("{\"keyCode\":1,\"modifiers\":0}"));
    defaults.setValue(presetsKey, QByteArray(R"([{"id":"6B1A2F3C-0000-4000-8000-A11F00000009"}])"));
    SettingsStore store(defaults);
    const Settings& s = store.settings();
    EXPECT_DOUBLE_EQ(s.dimMenuBarOpacity, 0.4);
    EXPECT_EQ(s.menuBarIconStyle, MenuBarIconStyle::windows);
    EXPECT_TRUE(s.dimMenuBarEnabled);
    EXPECT_DOUBLE_EQ(s.focusDimWallpaperDarkening, 1.0);  // a whole number is still a number
    EXPECT_TRUE(s.focusDimPerScreenImageBookmarks.isEmpty());
    EXPECT_TRUE(s.wallpaperHistoryBookmarks.isEmpty());
    EXPECT_EQ(s.wallpaperRotationBookmarks, QList<QByteArray>{"a"});
    EXPECT_TRUE(s.focusDimExcludedApps.isEmpty());
    EXPECT_FALSE(s.appSwitcherHotKey);
    EXPECT_FALSE(s.snapLeftHotKey);  // stored as text, not data
    EXPECT_EQ(s.windowSizePresets, WindowSizePreset::defaultList());
    // Nothing was rewritten: the odd values wait for the next save.
    EXPECT_EQ(defaults.value(opacityKey), QVariant(QStringLiteral("0.7")));

    defaults.setValue(iconKey, QStringLiteral("line"));
    SettingsStore again(defaults);
    EXPECT_EQ(again.settings().menuBarIconStyle, MenuBarIconStyle::line);
}

TEST(SettingsStore, everyLoadRemovesTheRetiredKeys)
{
    FakeDefaults defaults;
    for (const QString& key : retiredSettingsKeys())
        defaults.setValue(key, true);
    defaults.setValue(QStringLiteral("unrelated.key"), true);
    SettingsStore store(defaults);
    for (const QString& key : retiredSettingsKeys())
        EXPECT_FALSE(defaults.value(key)) << key.toStdString();
    EXPECT_TRUE(defaults.value(QStringLiteral("unrelated.key")));

    // Written back later (an older build, a hand edit): the reload after the change removes them again.
    for (const QString& key : retiredSettingsKeys())
        defaults.setValue(key, true);
    store.reload();
    for (const QString& key : retiredSettingsKeys())
        EXPECT_FALSE(defaults.value(key)) << "after reload: " << key.toStdString();
    EXPECT_TRUE(defaults.value(QStringLiteral("unrelated.key")));
}

TEST(SettingsStore, saveWritesTheWholeSetAndRemovesEmptyOptionals)
{
    FakeDefaults defaults;
    SettingsStore store(defaults);
    store.set(&Settings::appSwitcherHotKey, std::optional<HotKeyConfig>(HotKeyConfig{49, 4096}));
    for (const SettingField& f : settingsSchema()) {
        const bool optionalEmpty = f.property.endsWith(QLatin1String("HotKey")) && f.property != QLatin1String("appSwitcherHotKey");
        const bool removable = optionalEmpty || f.property == QLatin1String("focusDimBackgroundImageBookmark")
            || f.property == QLatin1String("quickDimAppID");
        EXPECT_EQ(defaults.value(f.key).has_value(), !removable) << f.key.toStdString();
    }
    EXPECT_EQ(defaults.dataValue(appHotKey), QByteArray(R"({"keyCode":49,"modifiers":4096})"));
    EXPECT_TRUE(defaults.dataValue(presetsKey));  // always written

    store.set(&Settings::appSwitcherHotKey, std::optional<HotKeyConfig>());
    EXPECT_FALSE(defaults.value(appHotKey));
    SettingsStore reloaded(defaults);
    EXPECT_FALSE(reloaded.settings().appSwitcherHotKey);

    store.set(&Settings::focusDimExcludedApps, QSet<QString>{QStringLiteral("b"), QStringLiteral("a")});
    EXPECT_EQ(defaults.value(QStringLiteral("tamsinvale.settings.focus.excluded.apps")),
              QVariant(QVariantList{QStringLiteral("a"), QStringLiteral("b")}));
}

TEST(SettingsStore, roundTripsEveryPropertyThroughTheDomain)
{
    FakeDefaults defaults;
    SettingsStore store(defaults);
    store.update([](Settings& s) {
        s.dimMenuBarEnabled = false;
        s.dimMenuBarOpacity = 0.25;
        s.focusDimEnabled = false;
        s.focusDimWallpaperDarkening = 0.6;
        s.focusDimBackgroundImageBookmark = QByteArray("\x00\x01picture", 9);
        s.focusDimPerScreenImageBookmarks = {{QStringLiteral("UUID-1"), QByteArray("one")}};
        s.wallpaperHistoryBookmarks = {"h1", "h2"};
        s.wallpaperRotationBookmarks = {"r1"};
        s.wallpaperRotationHours = 6;
        s.focusDimExcludedApps = {QStringLiteral("org.example.Player")};
        s.focusDimOtherScreensFully = true;
        s.focusDimBlackBackground = true;
        s.quickDimAppID = QStringLiteral("org.example.Editor");
        s.inactiveAppsExcluded = {QStringLiteral("x")};
        s.inactiveThresholdHours = 12.5;
        s.sleepOnLidCloseEnabled = false;
        s.menuBarIconStyle = MenuBarIconStyle::line;
        s.windowsSwitcherHotKey = HotKeyConfig{48, 2048};
        s.quickDimHotKey = HotKeyConfig{2, 4352};
        s.clearInactiveScreensHotKey = HotKeyConfig{8, 4352};
        s.windowSizePresets.append(WindowSizePreset::makeNew());
        s.moveToNextScreenHotKey = HotKeyConfig{124, 4352};
        s.insertDateHotKey = HotKeyConfig{2, 6144};
        s.snapLeftHotKey = HotKeyConfig{123, 256};
        s.snapRightHotKey = HotKeyConfig{124, 256};
    });
    SettingsStore reloaded(defaults);
    EXPECT_EQ(reloaded.settings(), store.settings());
}

TEST(SettingsStore, tellsObserversOfEachChangedPropertyOnly)
{
    FakeDefaults defaults;
    SettingsStore store(defaults);
    // Every property has its own change signal.
    for (const SettingField& f : settingsSchema()) {
        const QByteArray signature = QMetaObject::normalizedSignature((f.property + "Changed()").toLatin1());
        EXPECT_GE(store.metaObject()->indexOfSignal(signature), 0) << signature.constData();
    }
    QSignalSpy opacity(&store, &SettingsStore::dimMenuBarOpacityChanged);
    QSignalSpy presets(&store, &SettingsStore::windowSizePresetsChanged);
    QSignalSpy any(&store, &SettingsStore::changed);
    store.set(&Settings::dimMenuBarOpacity, 0.3);
    store.set(&Settings::dimMenuBarOpacity, 0.3);  // no change, no signal
    EXPECT_EQ(opacity.count(), 1);
    EXPECT_EQ(presets.count(), 0);
    ASSERT_EQ(any.count(), 1);
    EXPECT_EQ(any.first().first().toString(), QStringLiteral("dimMenuBarOpacity"));

    // Another process's change, read back with reload, is published too.
    defaults.setValue(opacityKey, 0.9);
    store.reload();
    EXPECT_EQ(opacity.count(), 2);
    EXPECT_DOUBLE_EQ(store.settings().dimMenuBarOpacity, 0.9);
}

TEST(SettingsStore, presetEditingKeepsInvalidTextAndSaves)
{
    FakeDefaults defaults;
    SettingsStore store(defaults);
    const QUuid id = store.addPreset();
    ASSERT_EQ(store.settings().windowSizePresets.size(), 2);
    store.setPresetName(id, QStringLiteral("Half"));
    store.setPresetWidth(id, QStringLiteral("2"));  // invalid, but kept as typed
    store.setPresetHeight(id, QStringLiteral(".5"));
    store.setPresetHotKey(id, HotKeyConfig{4, 4352});
    SettingsStore reloaded(defaults);
    const auto preset = reloaded.preset(id);
    ASSERT_TRUE(preset);
    EXPECT_EQ(preset->name, QStringLiteral("Half"));
    EXPECT_EQ(preset->width, QStringLiteral("2"));
    EXPECT_EQ(preset->hotKey, (HotKeyConfig{4, 4352}));
    store.removePreset(WindowSizePreset::full().id);
    store.removePreset(QUuid::createUuid());  // unknown: nothing happens
    EXPECT_EQ(store.settings().windowSizePresets.size(), 1);
    EXPECT_EQ(SettingsStore(defaults).settings().windowSizePresets.first().id, id);
}

TEST(SettingsStore, decodedWallpapersAreAMemoryCacheOnly)
{
    FakeDefaults defaults;
    SettingsStore store(defaults);
    EXPECT_FALSE(store.decodedWallpaper(QStringLiteral("/a.jpg")));
    QImage image(4, 4, QImage::Format_RGB32);
    store.storeDecodedWallpaper(QStringLiteral("/a.jpg"), image);
    EXPECT_TRUE(store.decodedWallpaper(QStringLiteral("/a.jpg")));
    EXPECT_EQ(defaults.writeCount(), 0);
    EXPECT_FALSE(SettingsStore(defaults).decodedWallpaper(QStringLiteral("/a.jpg")));
}
