// Quarter turns (5: transpose, 6: 90° clockwise, 7: transverse, 8: 90° counter-clockwise) swap width and height.
#include "MacImageOrientation.h"

#include <algorithm>

namespace tamsinvale {

QSize displayedPictureSize(const QSize& storedSize, int orientation)
{
    return orientation >= 5 && orientation <= 8 ? storedSize.transposed() : storedSize;
}

int thumbnailMaxPixelSize(const QSize& size)
{
    return std::max(0, std::max(size.width(), size.height()));
}

}  // namespace tamsinvale
