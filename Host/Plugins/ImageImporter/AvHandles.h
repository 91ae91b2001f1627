#pragma once

// Licence: this source is under the Apache License 2.0 like the rest of the project. The binary links
// FFmpeg, which Debian builds with GPL parts, and is therefore under the GPL (version 2 or later).

#include <memory>

extern "C"
{
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

namespace RKHost
{

struct FreeContext
{
    void operator()(AVCodecContext* inContext) const noexcept { avcodec_free_context(&inContext); }
};
struct FreeFrame
{
    void operator()(AVFrame* inFrame) const noexcept { av_frame_free(&inFrame); }
};
struct FreePacket
{
    void operator()(AVPacket* inPacket) const noexcept { av_packet_free(&inPacket); }
};
struct FreeScaler
{
    void operator()(SwsContext* inScaler) const noexcept { sws_freeContext(inScaler); }
};

using ContextPtr = std::unique_ptr<AVCodecContext, FreeContext>;
using FramePtr = std::unique_ptr<AVFrame, FreeFrame>;
using PacketPtr = std::unique_ptr<AVPacket, FreePacket>;
using ScalerPtr = std::unique_ptr<SwsContext, FreeScaler>;

} // namespace RKHost
