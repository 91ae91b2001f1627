// Licence: this source is under the Apache License 2.0 like the rest of the project. The binary links
// FFmpeg, which Debian builds with GPL parts, and is therefore under the GPL (version 2 or later).

#include "Decoder.h"

#include <cstring>
#include <limits>

#include "ImporterError.h"
#include "LogCapture.h"

extern "C"
{
#include <libavutil/opt.h>
}

namespace RKHost
{

namespace
{

// What the functions that FFmpeg calls back have to tell; its context's opaque pointer leads here.
struct Watch
{
    bool mTooLarge = false;
    bool mBlockFailed = false;
};

Watch& WatchOf(AVCodecContext* inContext)
{
    return *static_cast<Watch*>(inContext->opaque);
}

// The last moment before pixels are allocated.
int GetBuffer(AVCodecContext* inContext, AVFrame* ioFrame, int inFlags)
{
    const std::int64_t pixels = std::int64_t{ioFrame->width} * ioFrame->height;
    if (ioFrame->width > RK_IMAGE_MAX_SIDE || ioFrame->height > RK_IMAGE_MAX_SIDE ||
        pixels > RK_IMAGE_MAX_PIXELS)
    {
        WatchOf(inContext).mTooLarge = true;
        return AVERROR_INVALIDDATA;
    }
    return avcodec_default_get_buffer2(inContext, ioFrame, inFlags);
}

// A decoder that works in blocks asks for them through this and does not look at the results, so that
// a damaged block would pass as an empty one.
int ExecuteBlocks(AVCodecContext* inContext, int (*inBlock)(AVCodecContext*, void*, int, int),
                  void* inArgument, int* outResults, int inCount)
{
    for (int i = 0; i < inCount; ++i)
    {
        const int result = inBlock(inContext, inArgument, i, 0);
        if (outResults != nullptr)
            outResults[i] = result;
        if (result < 0)
            WatchOf(inContext).mBlockFailed = true;
    }
    return 0;
}

// To the strict TIFF decoder a tag that it does not know is an error. The lenient one passes damaged
// strips as empty ones, but logs them.
bool IsTiff(const Container& inContainer)
{
    return inContainer.mCodec == AV_CODEC_ID_TIFF;
}

ContextPtr OpenDecoder(const Container& inContainer, Watch& ioWatch)
{
    const AVCodec* codec = avcodec_find_decoder(inContainer.mCodec);
    if (codec == nullptr)
        throw ImporterError{kRKImageStatus_Unsupported,
                            std::string(inContainer.mName) + ": FFmpeg was built without it"};
    ContextPtr context(avcodec_alloc_context3(codec));
    RequireMemory(context != nullptr);
    context->opaque = &ioWatch;
    context->thread_count = 1;
    context->err_recognition =
        IsTiff(inContainer) ? AV_EF_CRCCHECK : AV_EF_CRCCHECK | AV_EF_EXPLODE;
    context->max_pixels = RK_IMAGE_MAX_PIXELS;
    context->get_buffer2 = &GetBuffer;
    // OpenEXR holds linear light, and 8 bits want it as a screen does.
    if (inContainer.mCodec == AV_CODEC_ID_EXR)
        av_opt_set_int(context->priv_data, "apply_trc", AVCOL_TRC_IEC61966_2_1, 0);
    const int opened = avcodec_open2(context.get(), codec, nullptr);
    if (opened < 0)
        ThrowAvError(opened, inContainer.mName);
    context->execute2 = &ExecuteBlocks;
    return context;
}

// The decoder wants zeroed bytes behind the data, which a caller's block need not have.
PacketPtr MakePacket(const std::uint8_t* inData, std::size_t inSize)
{
    if (inSize >
        static_cast<std::size_t>(std::numeric_limits<int>::max()) - AV_INPUT_BUFFER_PADDING_SIZE)
        throw ImporterError{kRKImageStatus_TooLarge, "the file is larger than 2 GB"};
    PacketPtr packet(av_packet_alloc());
    RequireMemory(packet != nullptr && av_new_packet(packet.get(), static_cast<int>(inSize)) == 0);
    std::memcpy(packet->data, inData, inSize);
    packet->flags |= AV_PKT_FLAG_KEY;
    return packet;
}

int Decode(AVCodecContext* ioContext, const AVPacket* inPacket, AVFrame* outFrame)
{
    int result = avcodec_send_packet(ioContext, inPacket);
    if (result < 0)
        return result;
    result = avcodec_receive_frame(ioContext, outFrame);
    if (result != AVERROR(EAGAIN))
        return result;
    avcodec_send_packet(ioContext, nullptr); // there is no more to come
    return avcodec_receive_frame(ioContext, outFrame);
}

bool SaysTooLarge(const Watch& inWatch, const std::string& inLogged)
{
    // FFmpeg's own refusal comes before any buffer is asked for, and has no code of its own.
    return inWatch.mTooLarge || inLogged.compare(0, 13, "Picture size ") == 0;
}

} // namespace

FramePtr DecodeWholeFile(const Container& inContainer, const std::uint8_t* inData,
                         std::size_t inSize)
{
    Watch watch;
    const LogCapture log;
    const ContextPtr context = OpenDecoder(inContainer, watch);
    const PacketPtr packet = MakePacket(inData, inSize);
    FramePtr frame(av_frame_alloc());
    RequireMemory(frame != nullptr);

    const int result = Decode(context.get(), packet.get(), frame.get());
    if (result < 0 && SaysTooLarge(watch, log.FirstError()))
        throw ImporterError{kRKImageStatus_TooLarge,
                            std::string(inContainer.mName) + ": larger than " +
                                std::to_string(RK_IMAGE_MAX_SIDE) + " pixels a side or " +
                                std::to_string(RK_IMAGE_MAX_PIXELS) + " in all"};
    if (result < 0)
        ThrowAvError(result, inContainer.mName, log.FirstError());
    const bool corrupt =
        (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0 || frame->decode_error_flags != 0;
    const bool logged = IsTiff(inContainer) && !log.FirstError().empty();
    if (watch.mBlockFailed || corrupt || logged)
        ThrowAvError(AVERROR_INVALIDDATA, inContainer.mName, log.FirstError());
    return frame;
}

} // namespace RKHost
