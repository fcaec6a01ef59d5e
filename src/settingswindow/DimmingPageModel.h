// What the Dimming page shows (focus dimming, its excluded apps, the quick-dim app, menu bar dimming and the
// per-screen pictures) and what its edits write.
#pragma once

#include <QList>
#include <QString>
#include <optional>

#include "AppChoice.h"
#include "platform/Screens.h"
#include "settings/Settings.h"

namespace tamsinvale {

class Bookmarks;
class SettingsStore;

struct ScreenPictureRow {
    QString screenName;
    QString uuid;
    std::optional<QString> picturePath;  // the chosen picture, resolved
    QString pictureText;                 // its file name, "Same as all screens", or "Picture not found"
    bool operator==(const ScreenPictureRow&) const = default;
};

struct DimmingPageState {
    bool focusDimEnabled = true;
    int darkeningPercent = 10;
    bool blackBackground = false;
    bool otherScreensFully = false;
    bool pictureControlsEnabled = true;  // pictures mean nothing on a black background
    QList<AppChoice> excludedApps;
    QList<AppChoice> excludableApps;
    QList<AppChoice> quickDimChoices;    // apps with a bundle identifier
    int quickDimIndex = -1;              // into quickDimChoices; -1: none chosen
    std::optional<QString> quickDimMissing;  // a configured app that is not installed any more
    bool dimMenuBarEnabled = true;
    int menuBarOpacityPercent = 40;
    QList<ScreenPictureRow> screens;
};

namespace DimmingPageModel {

extern const QString excludeHelp;
extern const QString quickDimHelp;
extern const QString otherScreensHelp;
extern const QString blackBackgroundHelp;
extern const QString screenPicturesHelp;

DimmingPageState state(const Settings& settings, const QList<DiscoveredApp>& apps, const QList<ScreenInfo>& screens,
                       const Bookmarks* bookmarks);
void setDarkeningPercent(SettingsStore& store, int percent);     // clamped to 0…100
void setMenuBarOpacityPercent(SettingsStore& store, int percent);  // clamped to 0…100
void setExcluded(SettingsStore& store, const QString& key, bool excluded);
void setQuickDimApp(SettingsStore& store, const std::optional<QString>& bundleIdentifier);
// A picture for one screen, or none to fall back to the picture for all screens.
void setScreenPicture(SettingsStore& store, const Bookmarks& bookmarks, const QString& screenUuid,
                      const std::optional<QString>& path);

}  // namespace DimmingPageModel

}  // namespace tamsinvale
