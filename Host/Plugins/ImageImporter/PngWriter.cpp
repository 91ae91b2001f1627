// Licence: this source is under the Apache License 2.0 like the rest of the project. The binary links
// FFmpeg, which Debian builds with GPL parts, and is therefore under the GPL (version 2 or later).

#include "PngWriter.h"

#include "ImporterError.h"
#include "LogCapture.h"

namespace RKHost
{

namespace
{

FramePtr MakeRGB(const std::uint8_t* inPixels, int inWidth, int inHeight, std::uint32_t inRowBytes)
{
    FramePtr frame(av_frame_alloc());
    RequireMemory(frame != nullptr);
    frame->format = AV_PIX_FMT_RGB24;
    frame->width = inWidth;
    frame->height = inHeight;
    RequireMemory(av_frame_get_buffer(frame.get(), 0) == 0);
    for (int y = 0; y < inHeight; ++y)
    {
        const std::uint8_t* from = inPixels + std::size_t{inRowBytes} * static_cast<unsigned>(y);
        std::uint8_t* to = frame->data[0] + std::ptrdiff_t{frame->linesize[0]} * y;
        for (int x = 0; x < inWidth; ++x, from += 4, to += 3)
        {
            to[0] = from[2];
            to[1] = from[1];
            to[2] = from[0];
        }
    }
    return frame;
}

ContextPtr OpenEncoder(int inWidth, int inHeight)
{
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_PNG);
    if (codec == nullptr)
        throw ImporterError{kRKImageStatus_Unsupported,
                            "png: FFmpeg was built without its encoder"};
    ContextPtr context(avcodec_alloc_context3(codec));
    RequireMemory(context != nullptr);
    context->width = inWidth;
    context->height = inHeight;
    context->pix_fmt = AV_PIX_FMT_RGB24;
    context->time_base = AVRational{1, 25}; // demanded, and without meaning for a still
    context->thread_count = 1;
    const int opened = avcodec_open2(context.get(), codec, nullptr);
    if (opened < 0)
        ThrowAvError(opened, "png");
    return context;
}

} // namespace

PacketPtr EncodePng(const std::uint8_t* inPixels, std::uint32_t inWidth, std::uint32_t inHeight,
                    std::uint32_t inRowBytes)
{
    const int width = static_cast<int>(inWidth);
    const int height = static_cast<int>(inHeight);
    const LogCapture log;
    const ContextPtr context = OpenEncoder(width, height);
    const FramePtr frame = MakeRGB(inPixels, width, height, inRowBytes);
    PacketPtr packet(av_packet_alloc());
    RequireMemory(packet != nullptr);
    int result = avcodec_send_frame(context.get(), frame.get());
    if (result >= 0)
        result = avcodec_send_frame(context.get(), nullptr);
    if (result >= 0)
        result = avcodec_receive_packet(context.get(), packet.get());
    if (result < 0)
        ThrowAvError(result, "png", log.FirstError());
    return packet;
}

} // namespace RKHost
