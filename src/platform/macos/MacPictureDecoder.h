// Picture files through ImageIO (which reads HEIC, JPEG, PNG and TIFF natively): the size and orientation a file
// records, and a thumbnail of a given longest side made from the full picture, turned as it is shown.
// Thread-safe: ImageIO's image sources may be used off the main thread, and the picture queue does.
#pragma once

#include <QImage>
#include <QSize>
#include <QString>

namespace tamsinvale {

struct PictureFileFacts {
    bool ok = false;
    QSize storedSize;     // kCGImagePropertyPixelWidth × kCGImagePropertyPixelHeight
    int orientation = 1;  // kCGImagePropertyOrientation, 1 when the file says nothing
    bool heif = false;    // the file's type conforms to public.heif-standard (HEIC, HEIF)
    QString error;
};

namespace MacPictureDecoder {

PictureFileFacts inspect(const QString& path);

// A thumbnail no longer than `maxPixelSize` on its longer side, in a 32-bit format the overlays draw
// (premultiplied ARGB when the picture has alpha, RGB32 otherwise); null with `error` set on failure.
QImage thumbnail(const QString& path, int maxPixelSize, QString* error);

}  // namespace MacPictureDecoder

}  // namespace tamsinvale
