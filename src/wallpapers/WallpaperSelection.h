// Making a picture the focus-dimming background: for every screen, or for one screen by its UUID.
#pragma once

#include <QString>
#include <optional>

namespace tamsinvale {

class Bookmarks;
class SettingsStore;

namespace WallpaperSelection {

// Stores a bookmark of `path` as the background of all screens, or of the screen `screenUUID`; saves at once.
void apply(SettingsStore& store, const Bookmarks& bookmarks, const QString& path,
           const std::optional<QString>& screenUUID = std::nullopt);

}  // namespace WallpaperSelection

}  // namespace tamsinvale
