#include "WallpaperSelection.h"

#include "platform/Bookmarks.h"
#include "settings/SettingsStore.h"

namespace tamsinvale {

void WallpaperSelection::apply(SettingsStore& store, const Bookmarks& bookmarks, const QString& path,
                               const std::optional<QString>& screenUUID)
{
    const QByteArray bookmark = bookmarks.create(path);
    store.update([&](Settings& s) {
        if (screenUUID)
            s.focusDimPerScreenImageBookmarks.insert(*screenUUID, bookmark);
        else
            s.focusDimBackgroundImageBookmark = bookmark;
    });
}

}  // namespace tamsinvale
