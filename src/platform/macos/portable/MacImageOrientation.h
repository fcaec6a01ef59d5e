// A picture's size as it is shown: EXIF / TIFF orientations 5 to 8 turn it by a quarter, which swaps the sides.
// ImageIO reports the stored size and the orientation apart; its thumbnails (created with the transform) come
// out turned.
#pragma once

#include <QSize>

namespace tamsinvale {

// `orientation` is the kCGImagePropertyOrientation value, 1 to 8; anything else reads as 1 (as stored).
QSize displayedPictureSize(const QSize& storedSize, int orientation);

// kCGImageSourceThumbnailMaxPixelSize for a thumbnail of `size`: its longer side.
int thumbnailMaxPixelSize(const QSize& size);

}  // namespace tamsinvale
