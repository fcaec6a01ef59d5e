// Bookmarks that resolve while their file is marked as existing.
#pragma once

#include <QSet>

#include "platform/Bookmarks.h"

namespace tamsinvale {

class FakeBookmarks : public Bookmarks {
public:
    void addFile(const QString& path) { m_files.insert(path); }
    void removeFile(const QString& path) { m_files.remove(path); }
    int openAccesses() const { return m_accesses; }

    QByteArray create(const QString& path) const override { return "bookmark:" + path.toUtf8(); }
    std::optional<QString> resolve(const QByteArray& bookmark) const override
    {
        if (!bookmark.startsWith("bookmark:"))
            return std::nullopt;
        const QString path = QString::fromUtf8(bookmark.mid(9));
        if (!m_files.contains(path))
            return std::nullopt;
        return path;
    }
    bool startAccessing(const QString&) const override
    {
        ++m_accesses;
        return true;
    }
    void stopAccessing(const QString&) const override { --m_accesses; }

private:
    QSet<QString> m_files;
    mutable int m_accesses = 0;
};

}  // namespace tamsinvale
