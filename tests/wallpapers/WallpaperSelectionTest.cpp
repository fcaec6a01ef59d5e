// Choosing a background: the setting it writes, and the history of choices (newest first, each picture once,
// bounded).
#include <gtest/gtest.h>

#include "platform/fake/FakeDesktop.h"
#include "settings/SettingsStore.h"
#include "wallpapers/WallpaperSelection.h"

using namespace tamsinvale;

TEST(WallpaperSelection, theHistoryKeepsEachChoiceOnceNewestFirstAndBounded)
{
    FakeDesktop desktop;
    SettingsStore settings(desktop.defaults);
    auto paths = [&] {
        QStringList out;
        for (const QByteArray& b : settings.settings().wallpaperHistoryBookmarks)
            out << desktop.bookmarks.resolve(b).value_or(QStringLiteral("?"));
        return out;
    };
    for (const char* p : {"/p/a.heic", "/p/b.jpg", "/p/c.png"})
        desktop.bookmarks.addFile(p);

    WallpaperSelection::apply(settings, desktop.bookmarks, "/p/a.heic");
    WallpaperSelection::apply(settings, desktop.bookmarks, "/p/b.jpg", QStringLiteral("SCREEN-1"));
    EXPECT_EQ(paths(), (QStringList{"/p/b.jpg", "/p/a.heic"}));
    EXPECT_EQ(desktop.bookmarks.resolve(*settings.settings().focusDimBackgroundImageBookmark), "/p/a.heic");
    EXPECT_EQ(desktop.bookmarks.resolve(settings.settings().focusDimPerScreenImageBookmarks.value("SCREEN-1")),
              "/p/b.jpg");

    // Chosen again: moved to the front, not listed twice.
    WallpaperSelection::apply(settings, desktop.bookmarks, "/p/a.heic");
    EXPECT_EQ(paths(), (QStringList{"/p/a.heic", "/p/b.jpg"}));

    QStringList many;
    for (int i = 0; i < WallpaperSelection::historyLimit + 3; ++i) {
        many.prepend(QStringLiteral("/p/%1.png").arg(i));
        desktop.bookmarks.addFile(many.first());
        WallpaperSelection::apply(settings, desktop.bookmarks, many.first());
    }
    EXPECT_EQ(paths(), many.mid(0, WallpaperSelection::historyLimit));
    // Stored, so that the next start and the settings window see it.
    SettingsStore reloaded(desktop.defaults);
    EXPECT_EQ(reloaded.settings().wallpaperHistoryBookmarks.size(), WallpaperSelection::historyLimit);
}
