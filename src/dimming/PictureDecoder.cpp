// libheif for the HEIF family, Qt's readers for the rest; both end in the 32-bit formats the overlays draw.
#include "PictureDecoder.h"

#include <QFile>
#include <QImageReader>
#include <cmath>
#include <memory>

#include <libheif/heif.h>

namespace tamsinvale {

namespace {

QString heifError(const char* step, const heif_error& error)
{
    return QStringLiteral("%1: %2").arg(QLatin1String(step), QString::fromUtf8(error.message ? error.message : "?"));
}

// The overlays paint onto 32-bit surfaces; converting here keeps that work off the main thread.
QImage forDrawing(QImage image)
{
    return image.convertToFormat(image.hasAlphaChannel() ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
}

DecodedPicture decodeHeif(const QString& path, const QSize& targetPixels)
{
    DecodedPicture out;
    // The codec plugins are loaded once for the life of the process (heif_init is reference counted; we never
    // give our reference back, so a decode never races an unload).
    static const bool initialised = [] {
        heif_init(nullptr);
        return true;
    }();
    (void)initialised;
    const std::unique_ptr<heif_context, void (*)(heif_context*)> context(heif_context_alloc(), heif_context_free);
    heif_context_set_maximum_image_size_limit(context.get(), PictureDecoder::maxSide);
    heif_error error = heif_context_read_from_file(context.get(), QFile::encodeName(path).constData(), nullptr);
    if (error.code != heif_error_Ok) {
        out.error = heifError("cannot read HEIF container", error);
        return out;
    }
    heif_image_handle* rawHandle = nullptr;
    error = heif_context_get_primary_image_handle(context.get(), &rawHandle);
    if (error.code != heif_error_Ok || !rawHandle) {
        out.error = heifError("no primary image", error);
        return out;
    }
    const std::unique_ptr<heif_image_handle, void (*)(const heif_image_handle*)> handle(rawHandle,
                                                                                       heif_image_handle_release);
    const bool alpha = heif_image_handle_has_alpha_channel(handle.get()) != 0;
    heif_decoding_options* options = heif_decoding_options_alloc();
    options->convert_hdr_to_8bit = 1;
    heif_image* rawImage = nullptr;
    // Interleaved RGBA: Qt scales it as it is (RGBX8888 when opaque), without an extra full-size conversion.
    error = heif_decode_image(handle.get(), &rawImage, heif_colorspace_RGB, heif_chroma_interleaved_RGBA, options);
    heif_decoding_options_free(options);
    if (error.code != heif_error_Ok || !rawImage) {
        out.error = heifError("cannot decode HEIF image", error);
        return out;
    }
    const std::unique_ptr<heif_image, void (*)(const heif_image*)> image(rawImage, heif_image_release);
    int stride = 0;
    const std::uint8_t* pixels = heif_image_get_plane_readonly(image.get(), heif_channel_interleaved, &stride);
    const int width = heif_image_get_width(image.get(), heif_channel_interleaved);
    const int height = heif_image_get_height(image.get(), heif_channel_interleaved);
    if (!pixels || width <= 0 || height <= 0) {
        out.error = QStringLiteral("HEIF image has no pixels");
        return out;
    }
    // A view of libheif's buffer, valid while `image` lives; every path below copies out of it.
    const QImage view(pixels, width, height, stride, alpha ? QImage::Format_RGBA8888 : QImage::Format_RGBX8888);
    const QSize size = PictureDecoder::coveringSize(view.size(), targetPixels);
    out.fullResolution = size == view.size();
    out.image = forDrawing(out.fullResolution ? view.copy()
                                              : view.scaled(size, Qt::IgnoreAspectRatio, Qt::SmoothTransformation));
    return out;
}

DecodedPicture decodeWithQt(const QString& path, const QSize& targetPixels)
{
    DecodedPicture out;
    QImageReader reader(path);
    reader.setAutoTransform(true);
    const QSize source = reader.size();
    if (source.isValid() && (source.width() > PictureDecoder::maxSide || source.height() > PictureDecoder::maxSide)) {
        out.error = QStringLiteral("picture is %1 × %2 pixels, larger than %3 on a side")
                        .arg(source.width())
                        .arg(source.height())
                        .arg(PictureDecoder::maxSide);
        return out;
    }
    out.fullResolution = true;
    if (source.isValid()) {
        const QSize size = PictureDecoder::coveringSize(source, targetPixels);
        if (size != source) {
            reader.setScaledSize(size);
            out.fullResolution = false;
        }
    }
    const QImage image = reader.read();
    if (image.isNull()) {
        out.error = reader.errorString();
        out.fullResolution = false;
        return out;
    }
    out.image = forDrawing(image);
    return out;
}

}  // namespace

bool PictureDecoder::isHeif(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray head = file.read(64);
    if (head.size() < 12)
        return false;
    const heif_filetype_result kind =
        heif_check_filetype(reinterpret_cast<const std::uint8_t*>(head.constData()), int(head.size()));
    return kind == heif_filetype_yes_supported || kind == heif_filetype_yes_unsupported;
}

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

DecodedPicture PictureDecoder::decode(const QString& path, const QSize& targetPixels)
{
    if (isHeif(path))
        return decodeHeif(path, targetPixels);
    return decodeWithQt(path, targetPixels);
}

}  // namespace tamsinvale
