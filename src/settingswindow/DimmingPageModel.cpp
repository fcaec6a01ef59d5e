// The Dimming page as data, and the shared listing of chosen and choosable applications.
#include "DimmingPageModel.h"

#include <QCollator>
#include <QFileInfo>
#include <algorithm>
#include <cmath>

#include "platform/Bookmarks.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

namespace {

void sortByName(QList<AppChoice>& choices)
{
    QCollator collator;
    collator.setCaseSensitivity(Qt::CaseInsensitive);
    std::stable_sort(choices.begin(), choices.end(),
                     [&](const AppChoice& a, const AppChoice& b) { return collator.compare(a.name, b.name) < 0; });
}

int percentOf(double fraction)
{
    return int(std::lround(std::clamp(fraction, 0.0, 1.0) * 100.0));
}

}  // namespace

QList<AppChoice> AppChoice::chosen(const QSet<QString>& keys, const QList<DiscoveredApp>& apps)
{
    QList<AppChoice> out;
    for (const QString& key : keys) {
        AppChoice choice{key, key, QString()};
        for (const DiscoveredApp& app : apps) {
            if (storedKey(app) == key || app.name == key) {
                choice.name = app.name;
                choice.path = app.url;
                break;
            }
        }
        out.append(choice);
    }
    sortByName(out);
    return out;
}

QList<AppChoice> AppChoice::notChosen(const QSet<QString>& keys, const QList<DiscoveredApp>& apps)
{
    QList<AppChoice> out;
    for (const DiscoveredApp& app : apps)
        if (!keys.contains(storedKey(app)) && !keys.contains(app.name))
            out.append(AppChoice{storedKey(app), app.name, app.url});
    sortByName(out);
    return out;
}

const QString DimmingPageModel::excludeHelp =
    QStringLiteral("Exclude from focus dimming: activating this app keeps dimming the previously active app");
const QString DimmingPageModel::quickDimHelp = QStringLiteral(
    "Quick dim brings this app to the front, dims everything else and pauses media until you end it.");
const QString DimmingPageModel::otherScreensHelp =
    QStringLiteral("Screens without the active window are covered entirely instead of showing their windows.");
const QString DimmingPageModel::blackBackgroundHelp =
    QStringLiteral("Plain black behind the active window instead of a picture.");
const QString DimmingPageModel::screenPicturesHelp =
    QStringLiteral("A screen without a picture of its own shows the picture chosen for all screens.");

DimmingPageState DimmingPageModel::state(const Settings& s, const QList<DiscoveredApp>& apps,
                                         const QList<ScreenInfo>& screens, const Bookmarks* bookmarks)
{
    DimmingPageState state;
    state.focusDimEnabled = s.focusDimEnabled;
    state.darkeningPercent = percentOf(s.focusDimWallpaperDarkening);
    state.blackBackground = s.focusDimBlackBackground;
    state.otherScreensFully = s.focusDimOtherScreensFully;
    state.pictureControlsEnabled = !s.focusDimBlackBackground;
    state.excludedApps = AppChoice::chosen(s.focusDimExcludedApps, apps);
    state.excludableApps = AppChoice::notChosen(s.focusDimExcludedApps, apps);
    for (const DiscoveredApp& app : apps)
        if (app.bundleIdentifier)
            state.quickDimChoices.append(AppChoice{*app.bundleIdentifier, app.name, app.url});
    sortByName(state.quickDimChoices);
    if (s.quickDimAppID) {
        for (qsizetype i = 0; i < state.quickDimChoices.size(); ++i)
            if (state.quickDimChoices[i].id == *s.quickDimAppID)
                state.quickDimIndex = int(i);
        if (state.quickDimIndex < 0)
            state.quickDimMissing = *s.quickDimAppID;
    }
    state.dimMenuBarEnabled = s.dimMenuBarEnabled;
    state.menuBarOpacityPercent = percentOf(s.dimMenuBarOpacity);
    for (const ScreenInfo& screen : screens) {
        ScreenPictureRow row;
        row.screenName = screen.localizedName.isEmpty() ? QStringLiteral("Screen %1").arg(screen.displayId)
                                                        : screen.localizedName;
        row.uuid = screen.uuid;
        const auto bookmark = s.focusDimPerScreenImageBookmarks.constFind(screen.uuid);
        if (bookmark == s.focusDimPerScreenImageBookmarks.constEnd()) {
            row.pictureText = QStringLiteral("Same as all screens");
        } else if (const auto path = bookmarks ? bookmarks->resolve(*bookmark) : std::nullopt) {
            row.picturePath = *path;
            row.pictureText = QFileInfo(*path).fileName();
        } else {
            row.pictureText = QStringLiteral("Picture not found");
        }
        state.screens.append(row);
    }
    return state;
}

void DimmingPageModel::setDarkeningPercent(SettingsStore& store, int percent)
{
    store.set(&Settings::focusDimWallpaperDarkening, std::clamp(percent, 0, 100) / 100.0);
}

void DimmingPageModel::setMenuBarOpacityPercent(SettingsStore& store, int percent)
{
    store.set(&Settings::dimMenuBarOpacity, std::clamp(percent, 0, 100) / 100.0);
}

void DimmingPageModel::setExcluded(SettingsStore& store, const QString& key, bool excluded)
{
    store.update([&](Settings& s) {
        if (excluded)
            s.focusDimExcludedApps.insert(key);
        else
            s.focusDimExcludedApps.remove(key);
    });
}

void DimmingPageModel::setQuickDimApp(SettingsStore& store, const std::optional<QString>& bundleIdentifier)
{
    store.set(&Settings::quickDimAppID, bundleIdentifier);
}

void DimmingPageModel::setScreenPicture(SettingsStore& store, const Bookmarks& bookmarks, const QString& screenUuid,
                                        const std::optional<QString>& path)
{
    const QByteArray bookmark = path ? bookmarks.create(*path) : QByteArray();
    if (path && bookmark.isEmpty())
        return;  // the file cannot be referred to: keep what was chosen before
    store.update([&](Settings& s) {
        if (bookmark.isEmpty())
            s.focusDimPerScreenImageBookmarks.remove(screenUuid);
        else
            s.focusDimPerScreenImageBookmarks.insert(screenUuid, bookmark);
    });
}

}  // namespace tamsinvale
