// Decoding on macOS: ImageIO makes a thumbnail of the covering size straight from the file (HEIC included), so a
// 6K desktop picture is never decoded at full size.
#include "PictureDecoder.h"


#include "platform/macos/MacPictureDecoder.h"
#include "platform/macos/portable/MacImageOrientation.h"

namespace tamsinvale {

bool PictureDecoder::isHeif(const QString& path)
{
    const PictureFileFacts facts = MacPictureDecoder::inspect(path);
    return facts.ok && facts.heif;
}

DecodedPicture PictureDecoder::decode(const QString& path, const QSize& targetPixels)
{
    DecodedPicture out;
    const PictureFileFacts facts = MacPictureDecoder::inspect(path);
    if (!facts.ok) {
        out.error = facts.error;
        return out;
    }
    const QSize shown = displayedPictureSize(facts.storedSize, facts.orientation);
    if (shown.width() > maxSide || shown.height() > maxSide) {
        out.error = QStringLiteral("picture is %1 × %2 pixels, larger than %3 on a side")
                        .arg(shown.width())
                        .arg(shown.height())
                        .arg(maxSide);
        return out;
    }
    const QSize size = coveringSize(shown, targetPixels);
    out.image = MacPictureDecoder::thumbnail(path, thumbnailMaxPixelSize(size), &out.error);
    out.fullResolution = out.ok() && size == shown;
    return out;
}

}  // namespace tamsinvale
