// A choice of background, and the history of choices the picker offers again.
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
        QList<QByteArray>& history = s.wallpaperHistoryBookmarks;
        history.removeIf([&](const QByteArray& earlier) {
            return earlier == bookmark || bookmarks.resolve(earlier) == std::optional<QString>(path);
        });
        history.prepend(bookmark);
        if (history.size() > historyLimit)
            history.resize(historyLimit);
    });
}

}  // namespace tamsinvale
