// The one observable object holding every user setting, loaded from and saved to the defaults domain.
#pragma once

#include <QHash>
#include <QImage>
#include <QJsonObject>
#include <QObject>
#include <QUuid>
#include <functional>
#include <optional>

#include "Settings.h"

namespace tamsinvale {

class DefaultsDomain;

class SettingsStore : public QObject {
    Q_OBJECT
public:
    // Loads at once; the four retired keys are removed from the domain on every load.
    explicit SettingsStore(DefaultsDomain& defaults, QObject* parent = nullptr);
    // The instance over the installed platform's defaults, created on first use.
    static SettingsStore& shared();

    bool isLoaded() const { return m_isLoaded; }
    const Settings& settings() const { return m_settings; }
    DefaultsDomain& defaults() const { return m_defaults; }

    // Assigns one property, tells its observers when it changed, and saves.
    template <typename T>
    void set(T Settings::*member, const T& value)
    {
        update([&](Settings& s) { s.*member = value; });
    }
    // Applies any number of changes as one: observers of each changed property are told, then one save.
    void update(const std::function<void(Settings&)>& change);
    // Replaces every property with the defaults and saves.
    void resetAll();

    // Writes every property in table order; nothing until loading has finished.
    void save();
    // Reads the domain again (after another process changed it), removing the retired keys as the first load does;
    // observers of changed properties are told.
    void reload();

    // Window size preset editing, as the settings window does it.
    QUuid addPreset();
    void removePreset(const QUuid& id);
    void setPresetName(const QUuid& id, const QString& name);
    void setPresetWidth(const QUuid& id, const QString& width);
    void setPresetHeight(const QUuid& id, const QString& height);
    void setPresetHotKey(const QUuid& id, const std::optional<HotKeyConfig>& hotKey);
    std::optional<WindowSizePreset> preset(const QUuid& id) const;

    // Decoded wallpaper pictures by file path; never persisted.
    std::optional<QImage> decodedWallpaper(const QString& path) const;
    void storeDecodedWallpaper(const QString& path, const QImage& image);
    void evictDecodedWallpaper(const QString& path);
    QStringList decodedWallpaperPaths() const { return m_decodedWallpapers.keys(); }

    // Whether an application is excluded from focus dimming, by bundle identifier or name.
    bool isExcludedFromDimming(const std::optional<QString>& bundleIdentifier, const QString& name) const;

    // Every setting as JSON under its property name (the form `settings export` prints).
    QJsonObject toJson() const;

signals:
    // Any property changed; `property` is its name.
    void changed(const QString& property);

    void dimMenuBarEnabledChanged();
    void dimMenuBarOpacityChanged();
    void focusDimEnabledChanged();
    void focusDimWallpaperDarkeningChanged();
    void focusDimBackgroundImageBookmarkChanged();
    void focusDimPerScreenImageBookmarksChanged();
    void wallpaperHistoryBookmarksChanged();
    void wallpaperRotationBookmarksChanged();
    void wallpaperRotationHoursChanged();
    void focusDimExcludedAppsChanged();
    void focusDimOtherScreensFullyChanged();
    void focusDimBlackBackgroundChanged();
    void quickDimAppIDChanged();
    void inactiveAppsExcludedChanged();
    void inactiveThresholdHoursChanged();
    void sleepOnLidCloseEnabledChanged();
    void menuBarIconStyleChanged();
    void appSwitcherHotKeyChanged();
    void windowsSwitcherHotKeyChanged();
    void quickDimHotKeyChanged();
    void clearInactiveScreensHotKeyChanged();
    void windowSizePresetsChanged();
    void moveToNextScreenHotKeyChanged();
    void insertDateHotKeyChanged();
    void snapLeftHotKeyChanged();
    void snapRightHotKeyChanged();

private:
    void load();
    void removeRetiredKeys();
    void publish(const Settings& previous);
    void editPreset(const QUuid& id, const std::function<void(WindowSizePreset&)>& edit);

    DefaultsDomain& m_defaults;
    Settings m_settings;
    bool m_isLoaded = false;
    QHash<QString, QImage> m_decodedWallpapers;
};

}  // namespace tamsinvale
