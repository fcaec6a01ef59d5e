// Decodes one wallpaper file into a bitmap no larger than a screen needs. Pure and thread-safe: it runs on the
// picture queue, off the main thread. On Linux HEIF/HEIC (the format of the platform's desktop pictures) goes
// through libheif and everything else through Qt's image readers (LibheifPictureDecoder.cpp); on macOS ImageIO
// reads them all (ImageIOPictureDecoder.cpp). The build compiles one of the two.
#pragma once

#include <QImage>
#include <QSize>
#include <QString>

namespace tamsinvale {

struct DecodedPicture {
    QImage image;                 // null when the file could not be decoded
    bool fullResolution = false;  // the file is no larger than what was asked for: a bigger screen gains nothing
    QString error;                // why decoding failed, for the log
    bool ok() const { return !image.isNull(); }
};

namespace PictureDecoder {

// A picture wider or taller than this is refused before anything is allocated for it.
inline constexpr int maxSide = 20000;

// Whether the file starts like an ISO base media file of the HEIF family (HEIC, HEIF, AVIF).
bool isHeif(const QString& path);

// The size that covers `target` (aspect fill) at the source's aspect ratio; `source` itself when that is
// already small enough. Pictures are never enlarged.
QSize coveringSize(const QSize& source, const QSize& target);

// Decodes `path` so that it covers `targetPixels`, in a format the overlays draw without converting it again.
DecodedPicture decode(const QString& path, const QSize& targetPixels);

}  // namespace PictureDecoder

}  // namespace tamsinvale
