// Making a picture the focus-dimming background: for every screen, or for one screen by its UUID.
#pragma once

#include <QString>
#include <optional>

namespace tamsinvale {

class Bookmarks;
class SettingsStore;

namespace WallpaperSelection {

// The pictures chosen most recently, newest first, that the history keeps.
constexpr int historyLimit = 12;

// Stores a bookmark of `path` as the background of all screens, or of the screen `screenUUID`, and puts it at the
// front of the history (once: a picture chosen again moves to the front); saves at once. Rotation does not go
// through here, so the history holds the user's own choices.
void apply(SettingsStore& store, const Bookmarks& bookmarks, const QString& path,
           const std::optional<QString>& screenUUID = std::nullopt);

}  // namespace WallpaperSelection

}  // namespace tamsinvale
