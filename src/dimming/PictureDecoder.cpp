// The decoders' shared arithmetic: how large a picture must be to cover a screen.
#include "PictureDecoder.h"

#include <algorithm>
#include <cmath>

namespace tamsinvale {

QSize PictureDecoder::coveringSize(const QSize& source, const QSize& target)
{
    if (!source.isValid() || source.isEmpty() || !target.isValid() || target.isEmpty())
        return source;
    // Aspect fill: the smaller side reaches the target, the other overflows and is cropped when drawn.
    const double scale = std::max(double(target.width()) / source.width(), double(target.height()) / source.height());
    if (scale >= 1.0)
        return source;
    return QSize(std::max(1, int(std::ceil(source.width() * scale))), std::max(1, int(std::ceil(source.height() * scale))));
}

}  // namespace tamsinvale
