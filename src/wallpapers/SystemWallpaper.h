// One desktop picture the user can choose: on disk already, or downloadable from the desktop-picture catalogue.
#pragma once

#include <QString>
#include <QUrl>
#include <optional>

namespace tamsinvale {

struct SystemWallpaper {
    enum class Kind { nature, graphic, color };

    // Where a picture that is not on disk can be fetched from.
    struct Remote {
        QUrl url;                    // the zip archive, always https
        std::optional<QString> sha1;  // lower-case hexadecimal digest of the archive, when the catalogue gives one
        qint64 size = 0;             // the archive's size in bytes
        bool operator==(const Remote&) const = default;
    };

    QString id;  // the picture's name as shown
    Kind kind = Kind::nature;
    std::optional<QUrl> thumbnailURL;
    std::optional<QUrl> localURL;
    std::optional<Remote> remote;

    bool isLocal() const { return localURL.has_value(); }
    QString localPath() const { return localURL ? localURL->toLocalFile() : QString(); }

    static QString kindName(Kind kind);
};

}  // namespace tamsinvale
