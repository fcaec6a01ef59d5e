// Persistent references to user-chosen files (security-scoped bookmarks on macOS, absolute paths on Linux).
#pragma once

#include <QByteArray>
#include <QString>
#include <optional>

namespace tamsinvale {

class Bookmarks {
public:
    virtual ~Bookmarks() = default;
    virtual QByteArray create(const QString& path) const = 0;
    // The file's current path, or nothing when the bookmark no longer resolves.
    virtual std::optional<QString> resolve(const QByteArray& bookmark) const = 0;
    // Brackets each use of a resolved file (sandbox access on macOS).
    virtual bool startAccessing(const QString& path) const = 0;
    virtual void stopAccessing(const QString& path) const = 0;
};

}  // namespace tamsinvale
