// Decoding on Linux: libheif for the HEIF family, Qt's readers for the rest; both end in the 32-bit formats the
// overlays draw.
#include "PictureDecoder.h"

#include "HevcDecoderPlugin.h"

#include <QFile>
#include <QImageReader>
#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>
#include <vector>

#include <libheif/heif.h>

#include "platform/Logging.h"

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

// Averages the source pixels each target pixel covers (a box filter): fast, and the right filter for a large
// reduction. `out` is width × height, 8 bits per sample.
void boxDownscale(const std::uint8_t* in, int inStride, int inWidth, int inHeight, std::uint8_t* out, int width,
                  int height)
{
    std::vector<std::uint32_t> sums(std::size_t(width), 0);
    std::vector<int> x0(std::size_t(width) + 1);
    for (int x = 0; x <= width; ++x)
        x0[std::size_t(x)] = int(std::int64_t(x) * inWidth / width);
    for (int y = 0; y < height; ++y) {
        const int y0 = int(std::int64_t(y) * inHeight / height);
        const int y1 = std::max(y0 + 1, int(std::int64_t(y + 1) * inHeight / height));
        std::fill(sums.begin(), sums.end(), 0);
        for (int sy = y0; sy < y1; ++sy) {
            const std::uint8_t* row = in + std::ptrdiff_t(sy) * inStride;
            for (int x = 0; x < width; ++x) {
                const int from = x0[std::size_t(x)], to = std::max(from + 1, x0[std::size_t(x) + 1]);
                std::uint32_t sum = 0;
                for (int sx = from; sx < to; ++sx)
                    sum += row[sx];
                sums[std::size_t(x)] += sum;
            }
        }
        std::uint8_t* target = out + std::ptrdiff_t(y) * width;
        for (int x = 0; x < width; ++x) {
            const int from = x0[std::size_t(x)], to = std::max(from + 1, x0[std::size_t(x) + 1]);
            const std::uint32_t area = std::uint32_t((to - from) * (y1 - y0));
            target[x] = std::uint8_t((sums[std::size_t(x)] + area / 2) / area);
        }
    }
}

// A large reduction of an 8-bit YCbCr picture: each plane is reduced first and only the small result is turned
// into RGB, which saves converting and then scaling tens of millions of pixels. Nothing when the decoded picture
// is not of that kind (the caller then lets libheif convert it).
// Reduces three 8-bit planes to `size`; nothing when a plane is missing.
bool reducePlanes(const heif_image* image, const heif_channel (&channels)[3], const QSize& size,
                  std::vector<std::uint8_t> (&planes)[3])
{
    for (int i = 0; i < 3; ++i) {
        int stride = 0;
        const std::uint8_t* data = heif_image_get_plane_readonly(image, channels[i], &stride);
        const int pw = heif_image_get_width(image, channels[i]), ph = heif_image_get_height(image, channels[i]);
        if (!data || pw <= 0 || ph <= 0)
            return false;
        planes[i].resize(std::size_t(size.width()) * std::size_t(size.height()));
        boxDownscale(data, stride, pw, ph, planes[i].data(), size.width(), size.height());
    }
    return true;
}

// Pictures coded as planar RGB (an identity matrix, as heif-enc writes from PNG): the planes reduced and
// interleaved, no conversion at all.
std::optional<QImage> reduceRgb(const heif_image* image, const QSize& size)
{
    if (heif_image_get_chroma_format(image) != heif_chroma_444)
        return std::nullopt;
    const heif_channel channels[3] = {heif_channel_R, heif_channel_G, heif_channel_B};
    for (const heif_channel c : channels)
        if (!heif_image_has_channel(image, c) || heif_image_get_bits_per_pixel_range(image, c) != 8)
            return std::nullopt;
    std::vector<std::uint8_t> planes[3];
    if (!reducePlanes(image, channels, size, planes))
        return std::nullopt;
    QImage out(size, QImage::Format_RGB32);
    for (int y = 0; y < size.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(out.scanLine(y));
        for (int x = 0; x < size.width(); ++x) {
            const std::size_t i = std::size_t(y) * std::size_t(size.width()) + std::size_t(x);
            line[x] = qRgb(planes[0][i], planes[1][i], planes[2][i]);
        }
    }
    return out;
}

std::optional<QImage> reduceYCbCr(const heif_image* image, const QSize& size)
{
    if (heif_image_get_colorspace(image) == heif_colorspace_RGB)
        return reduceRgb(image, size);
    if (heif_image_get_colorspace(image) != heif_colorspace_YCbCr)
        return std::nullopt;
    const heif_chroma chroma = heif_image_get_chroma_format(image);
    if (chroma != heif_chroma_420 && chroma != heif_chroma_422 && chroma != heif_chroma_444)
        return std::nullopt;
    for (const heif_channel c : {heif_channel_Y, heif_channel_Cb, heif_channel_Cr})
        if (!heif_image_has_channel(image, c) || heif_image_get_bits_per_pixel_range(image, c) != 8)
            return std::nullopt;
    // The matrix from the picture's colour description; without one, what libheif itself assumes (BT.601, full
    // range).
    double kr = 0.299, kb = 0.114;
    bool fullRange = true;
    heif_color_profile_nclx* nclx = nullptr;
    if (heif_image_get_nclx_color_profile(image, &nclx).code == heif_error_Ok && nclx) {
        switch (nclx->matrix_coefficients) {
        case heif_matrix_coefficients_ITU_R_BT_709_5: kr = 0.2126; kb = 0.0722; break;
        case heif_matrix_coefficients_ITU_R_BT_2020_2_non_constant_luminance: kr = 0.2627; kb = 0.0593; break;
        case heif_matrix_coefficients_ITU_R_BT_470_6_System_B_G:
        case heif_matrix_coefficients_ITU_R_BT_601_6:
        case heif_matrix_coefficients_unspecified: break;
        default:
            heif_nclx_color_profile_free(nclx);
            return std::nullopt;  // rare matrices: libheif knows them
        }
        fullRange = nclx->full_range_flag != 0;
        heif_nclx_color_profile_free(nclx);
    }
    const int w = size.width(), h = size.height();
    std::vector<std::uint8_t> planes[3];
    const heif_channel channels[3] = {heif_channel_Y, heif_channel_Cb, heif_channel_Cr};
    if (!reducePlanes(image, channels, size, planes))
        return std::nullopt;
    const double kg = 1.0 - kr - kb;
    QImage out(w, h, QImage::Format_RGB32);
    for (int y = 0; y < h; ++y) {
        auto* line = reinterpret_cast<QRgb*>(out.scanLine(y));
        for (int x = 0; x < w; ++x) {
            const std::size_t i = std::size_t(y) * std::size_t(w) + std::size_t(x);
            double luma = planes[0][i], cb = planes[1][i] - 128.0, cr = planes[2][i] - 128.0;
            if (!fullRange) {
                luma = (luma - 16.0) * 255.0 / 219.0;
                cb *= 255.0 / 224.0;
                cr *= 255.0 / 224.0;
            }
            const double r = luma + 2.0 * (1.0 - kr) * cr;
            const double b = luma + 2.0 * (1.0 - kb) * cb;
            const double g = (luma - kr * r - kb * b) / kg;
            auto clamp = [](double v) { return int(std::lround(std::clamp(v, 0.0, 255.0))); };
            line[x] = qRgb(clamp(r), clamp(g), clamp(b));
        }
    }
    return out;
}

DecodedPicture decodeHeif(const QString& path, const QSize& targetPixels)
{
    DecodedPicture out;
    // The codec plugins are loaded once for the life of the process (heif_init is reference counted; we never
    // give our reference back, so a decode never races an unload).
    static const bool initialised = [] {
        heif_init(nullptr);
        registerHevcDecoderPlugin();
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
    const QSize sourceSize(heif_image_handle_get_width(handle.get()), heif_image_handle_get_height(handle.get()));
    const QSize reduced = PictureDecoder::coveringSize(sourceSize, targetPixels);
    heif_decoding_options* options = heif_decoding_options_alloc();
    options->convert_hdr_to_8bit = 1;
    heif_image* rawImage = nullptr;
    // A picture much larger than the screen (the platform's 6K desktop pictures) is reduced in its own colour
    // planes; libheif's conversion to RGB would otherwise work on every one of its pixels.
    if (!alpha && reduced != sourceSize) {
        error = heif_decode_image(handle.get(), &rawImage, heif_colorspace_undefined, heif_chroma_undefined, options);
        if (error.code == heif_error_Ok && rawImage) {
            const std::unique_ptr<heif_image, void (*)(const heif_image*)> native(rawImage, heif_image_release);
            rawImage = nullptr;
            const heif_channel first = heif_image_get_colorspace(native.get()) == heif_colorspace_RGB
                ? heif_channel_R
                : heif_channel_Y;
            const QSize decoded(heif_image_get_width(native.get(), first), heif_image_get_height(native.get(), first));
            if (auto small = reduceYCbCr(native.get(), PictureDecoder::coveringSize(decoded, targetPixels))) {
                heif_decoding_options_free(options);
                out.image = std::move(*small);
                return out;
            }
            qCDebug(lcWallpapers).noquote() << "decoding" << path << "again: its planes (colour space"
                                            << heif_image_get_colorspace(native.get()) << ", chroma"
                                            << heif_image_get_chroma_format(native.get())
                                            << ") are left to libheif's conversion";
        }
    }
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

DecodedPicture PictureDecoder::decode(const QString& path, const QSize& targetPixels)
{
    if (isHeif(path))
        return decodeHeif(path, targetPixels);
    return decodeWithQt(path, targetPixels);
}

}  // namespace tamsinvale
