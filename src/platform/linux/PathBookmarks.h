// Bookmarks on Linux: the absolute path of the chosen file, which resolves while the file exists.
#pragma once

#include "platform/Bookmarks.h"

namespace tamsinvale {

class PathBookmarks : public Bookmarks {
public:
    QByteArray create(const QString& path) const override;
    std::optional<QString> resolve(const QByteArray& bookmark) const override;
    bool startAccessing(const QString&) const override { return true; }
    void stopAccessing(const QString&) const override {}
};

}  // namespace tamsinvale
