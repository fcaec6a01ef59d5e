// libheif's HEVC decoding through libavcodec: several times faster than libheif's own libde265 plugin on the
// platform's 6K desktop pictures, and it decodes one picture on every core (wavefront rows) instead of one.
#pragma once

namespace tamsinvale {

// Registers the decoder with libheif, ahead of the decoders libheif brings; once per process, after heif_init.
void registerHevcDecoderPlugin();

}  // namespace tamsinvale
