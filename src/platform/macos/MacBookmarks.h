// Main thread: use from the main thread (the resolved URLs are kept per path without locks).
// Security-scoped bookmarks on macOS: NSURL bookmark data created and resolved with the security scope, and the
// scope entered and left around each use of the file.
#pragma once

#include <memory>

#include "platform/Bookmarks.h"

namespace tamsinvale {

class MacBookmarks : public Bookmarks {
public:
    MacBookmarks();
    ~MacBookmarks() override;

    // Empty when the file cannot be bookmarked (it does not exist, or the volume refuses).
    QByteArray create(const QString& path) const override;
    // A stale bookmark (the file moved or was replaced) still resolves to where the file is now.
    std::optional<QString> resolve(const QByteArray& bookmark) const override;
    // Enters the security scope of the URL the path was last resolved from; false when there is no scope to
    // enter (a path that came from no bookmark), and then no stopAccessing is due.
    bool startAccessing(const QString& path) const override;
    void stopAccessing(const QString& path) const override;

    struct Native;

private:
    std::unique_ptr<Native> m_native;
};

}  // namespace tamsinvale
