// A libheif decoder plugin: libheif hands over the HEVC parameter sets and the picture's NAL units (each behind
// a four-byte length), libavcodec decodes them, and the planes are copied into a heif_image as they are.
#include "HevcDecoderPlugin.h"

#include <libheif/heif.h>
#include <libheif/heif_plugin.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libavutil/pixdesc.h>
}

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace tamsinvale {
namespace {

constexpr int priority = 200;  // libheif's own plugins answer 100

struct Decoder {
    std::vector<std::uint8_t> annexB;  // the stream with start codes, as libavcodec's HEVC parser reads it
};

heif_error ok() { return {heif_error_Ok, heif_suberror_Unspecified, "Success"}; }
heif_error failure(const char* message) { return {heif_error_Decoder_plugin_error, heif_suberror_Unspecified, message}; }

const char* pluginName() { return "libavcodec HEVC"; }

int supportsFormat(heif_compression_format format) { return format == heif_compression_HEVC ? priority : 0; }

heif_error newDecoder(void** decoder)
{
    *decoder = new Decoder;
    return ok();
}

void freeDecoder(void* decoder) { delete static_cast<Decoder*>(decoder); }

heif_error pushData(void* decoder, const void* data, size_t size)
{
    auto& stream = static_cast<Decoder*>(decoder)->annexB;
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    static constexpr std::uint8_t startCode[4] = {0, 0, 0, 1};
    size_t at = 0;
    while (at < size) {
        if (size - at < 4)
            return failure("truncated NAL unit length");
        const size_t length = (size_t(bytes[at]) << 24) | (size_t(bytes[at + 1]) << 16) |
                              (size_t(bytes[at + 2]) << 8) | size_t(bytes[at + 3]);
        at += 4;
        if (length > size - at)
            return failure("NAL unit longer than its data");
        stream.insert(stream.end(), startCode, startCode + 4);
        stream.insert(stream.end(), bytes + at, bytes + at + length);
        at += length;
    }
    return ok();
}

struct PlaneLayout {
    heif_colorspace colorspace;
    heif_chroma chroma;
    int bitDepth;
};

bool layoutOf(AVPixelFormat format, PlaneLayout& layout)
{
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(format);
    if (!descriptor || (descriptor->flags & (AV_PIX_FMT_FLAG_BE | AV_PIX_FMT_FLAG_PAL | AV_PIX_FMT_FLAG_RGB |
                                             AV_PIX_FMT_FLAG_ALPHA | AV_PIX_FMT_FLAG_FLOAT)))
        return false;
    if (!(descriptor->flags & AV_PIX_FMT_FLAG_PLANAR) && descriptor->nb_components != 1)
        return false;
    layout.bitDepth = descriptor->comp[0].depth;
    if (layout.bitDepth < 8 || layout.bitDepth > 16)
        return false;
    if (descriptor->nb_components == 1) {
        layout.colorspace = heif_colorspace_monochrome;
        layout.chroma = heif_chroma_monochrome;
        return true;
    }
    if (descriptor->nb_components != 3)
        return false;
    layout.colorspace = heif_colorspace_YCbCr;
    if (descriptor->log2_chroma_w == 1 && descriptor->log2_chroma_h == 1)
        layout.chroma = heif_chroma_420;
    else if (descriptor->log2_chroma_w == 1 && descriptor->log2_chroma_h == 0)
        layout.chroma = heif_chroma_422;
    else if (descriptor->log2_chroma_w == 0 && descriptor->log2_chroma_h == 0)
        layout.chroma = heif_chroma_444;
    else
        return false;
    return true;
}

heif_error copyFrame(const AVFrame& frame, heif_image** out)
{
    PlaneLayout layout{};
    if (!layoutOf(static_cast<AVPixelFormat>(frame.format), layout))
        return failure("HEVC picture in a sample layout we do not read");
    const AVPixFmtDescriptor* descriptor = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(frame.format));
    heif_image* image = nullptr;
    heif_error error = heif_image_create(frame.width, frame.height, layout.colorspace, layout.chroma, &image);
    if (error.code != heif_error_Ok)
        return error;
    const heif_channel channels[3] = {heif_channel_Y, heif_channel_Cb, heif_channel_Cr};
    const int planes = layout.colorspace == heif_colorspace_monochrome ? 1 : 3;
    const int bytesPerSample = layout.bitDepth > 8 ? 2 : 1;
    for (int p = 0; p < planes; ++p) {
        const int shiftW = p == 0 ? 0 : descriptor->log2_chroma_w, shiftH = p == 0 ? 0 : descriptor->log2_chroma_h;
        const int width = -((-frame.width) >> shiftW), height = -((-frame.height) >> shiftH);
        error = heif_image_add_plane(image, channels[p], width, height, layout.bitDepth);
        if (error.code != heif_error_Ok) {
            heif_image_release(image);
            return error;
        }
        int stride = 0;
        std::uint8_t* target = heif_image_get_plane(image, channels[p], &stride);
        for (int y = 0; y < height; ++y)
            std::memcpy(target + size_t(y) * size_t(stride), frame.data[p] + ptrdiff_t(y) * frame.linesize[p],
                        size_t(width) * bytesPerSample);
    }
    *out = image;
    return ok();
}

heif_error decodeImage(void* decoder, heif_image** out)
{
    auto& stream = static_cast<Decoder*>(decoder)->annexB;
    const AVCodec* codec = avcodec_find_decoder(AV_CODEC_ID_HEVC);
    if (!codec)
        return failure("libavcodec has no HEVC decoder");
    const std::unique_ptr<AVCodecContext, void (*)(AVCodecContext*)> context(
        avcodec_alloc_context3(codec), [](AVCodecContext* c) { avcodec_free_context(&c); });
    const std::unique_ptr<AVPacket, void (*)(AVPacket*)> packet(av_packet_alloc(),
                                                                [](AVPacket* p) { av_packet_free(&p); });
    const std::unique_ptr<AVFrame, void (*)(AVFrame*)> frame(av_frame_alloc(), [](AVFrame* f) { av_frame_free(&f); });
    if (!context || !packet || !frame)
        return failure("out of memory");
    // One still picture: frame threads would gain nothing, slice threads decode its wavefront rows side by side.
    context->thread_count = 0;
    context->thread_type = FF_THREAD_SLICE;
    if (avcodec_open2(context.get(), codec, nullptr) < 0)
        return failure("cannot open libavcodec's HEVC decoder");
    if (stream.size() > size_t(INT32_MAX) || av_new_packet(packet.get(), int(stream.size())) < 0)
        return failure("HEVC stream too large");
    std::memcpy(packet->data, stream.data(), stream.size());
    if (avcodec_send_packet(context.get(), packet.get()) < 0 || avcodec_send_packet(context.get(), nullptr) < 0)
        return failure("HEVC stream refused by the decoder");
    if (avcodec_receive_frame(context.get(), frame.get()) < 0)
        return failure("HEVC stream holds no picture");
    return copyFrame(*frame, out);
}

}  // namespace

void registerHevcDecoderPlugin()
{
    static heif_decoder_plugin plugin = [] {
        heif_decoder_plugin p{};
        p.plugin_api_version = 1;
        p.get_plugin_name = pluginName;
        p.does_support_format = supportsFormat;
        p.new_decoder = newDecoder;
        p.free_decoder = freeDecoder;
        p.push_data = pushData;
        p.decode_image = decodeImage;
        return p;
    }();
    heif_register_decoder_plugin(&plugin);
}

}  // namespace tamsinvale
