// Wallpaper rotation: every N hours the picture behind the dimmed windows (the one for all screens) changes to
// another picture of a user-chosen set. The set and the interval are settings; the time of the last change is
// kept under its own defaults key so that the schedule survives restarts.
#pragma once

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <functional>
#include <optional>

#include "platform/Platform.h"

namespace tamsinvale {

class SettingsStore;

struct RotationInterval {
    int hours;
    QString label;
};

class WallpaperRotator : public QObject {
    Q_OBJECT
public:
    static inline const QString keyLastChange = QStringLiteral("tamsinvale.settings.wallpaper.rotation.lastChange");
    static constexpr double checkInterval = 300.0;
    static constexpr double checkTolerance = 60.0;

    // `applyAppearance` makes focus dimming show the new picture at once.
    WallpaperRotator(const Platform& platform, SettingsStore& settings, std::function<void()> applyAppearance,
                     QObject* parent = nullptr);
    ~WallpaperRotator() override;

    // The interval choices in menu order, and the label of any number of hours.
    static const QList<RotationInterval>& intervals();
    static QString intervalLabel(int hours);

    // Runs the first due-check and starts the 5-minute check timer (once).
    void start();
    bool isStarted() const { return bool(m_timer); }

    // On when the interval is at least an hour and the set holds more than one picture.
    bool isActive() const;
    // The set holds more than one picture: "Next Wallpaper" has somewhere to go, whatever the interval.
    bool isConfigured() const { return m_urls.size() > 1; }
    // Changes the picture when the interval has passed since the last change.
    void checkDue();
    // Changes to a random picture of the set other than the current one, if there is any; true when it did.
    bool rotate();
    // Dimming was switched on: with no picture for all screens, an active rotation supplies one now; otherwise the
    // schedule simply goes on.
    void dimmingEnabled(bool hasPictureForAllScreens);

    // The set, in order, as resolved files; `contains` compares symlink-resolved paths.
    const QStringList& urls() const { return m_urls; }
    bool contains(const QString& path) const;
    void add(const QString& path);
    void remove(const QString& path);
    // Sets the interval; turning rotation on with an empty set starts the set with the current picture. The first
    // change comes one full interval later.
    void setIntervalHours(int hours);

    // The stored time of the last change; nothing when none is stored or the value is not a date.
    std::optional<QDateTime> lastChange() const;
    // The picture the background for all screens resolves to now.
    std::optional<QString> currentPicture() const;

signals:
    void urlsChanged();
    void activeChanged(bool active);
    // The background changed to `path` by rotation.
    void rotated(const QString& path);

private:
    void reloadUrls();
    void rewriteSet(const QStringList& urls);
    void noteActive();
    void stopAccessingAll();
    static QString canonical(const QString& path);

    Platform m_platform;
    SettingsStore& m_settings;
    std::function<void()> m_applyAppearance;
    QStringList m_urls;
    QSet<QString> m_paths;
    QStringList m_accessing;  // resolved files whose access was started (and must be stopped)
    TaskHandle m_timer;
    bool m_wasActive = false;
};

}  // namespace tamsinvale
