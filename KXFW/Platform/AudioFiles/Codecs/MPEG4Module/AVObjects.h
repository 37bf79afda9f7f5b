/// @file
/// Owners for the library's objects.
#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace kx
{

template <auto Free> struct FreeByAddress {
    template <class T> void operator()(T *object) const noexcept { Free(&object); }
};

using AVCodecContextOwner = std::unique_ptr<AVCodecContext, FreeByAddress<avcodec_free_context>>;
using AVCodecParametersOwner = std::unique_ptr<AVCodecParameters, FreeByAddress<avcodec_parameters_free>>;
using AVFrameOwner = std::unique_ptr<AVFrame, FreeByAddress<av_frame_free>>;
using AVPacketOwner = std::unique_ptr<AVPacket, FreeByAddress<av_packet_free>>;

} // namespace kx
