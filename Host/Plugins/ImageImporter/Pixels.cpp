// Licence: this source is under the Apache License 2.0 like the rest of the project. The binary links
// FFmpeg, which Debian builds with GPL parts, and is therefore under the GPL (version 2 or later).

#include "Pixels.h"

#include <cstring>

#include "ImporterError.h"
#include "LogCapture.h"

extern "C"
{
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace RKHost
{

namespace
{

constexpr int kTight = 1; // alignment of rows and planes in the host's blocks

struct LayoutOfFormat
{
    RKImageLayout mLayout;
    AVPixelFormat mFormat;
};

// The names with a J stand for full range, as JPEG has it.
constexpr LayoutOfFormat kLayouts[] = {
    {kRKImageLayout_BGRA8, AV_PIX_FMT_BGRA},
    {kRKImageLayout_YUV420P8, AV_PIX_FMT_YUVJ420P},
    {kRKImageLayout_YUV422P8, AV_PIX_FMT_YUVJ422P},
};

RKImageLayout LayoutOf(int inFormat)
{
    for (const LayoutOfFormat& each : kLayouts)
        if (each.mFormat == inFormat)
            return each.mLayout;
    return kRKImageLayout_None;
}

AVPixelFormat FormatOf(RKImageLayout inLayout)
{
    for (const LayoutOfFormat& each : kLayouts)
        if (each.mLayout == inLayout)
            return each.mFormat;
    return AV_PIX_FMT_NONE;
}

FramePtr MakeFrame(AVPixelFormat inFormat, int inWidth, int inHeight)
{
    FramePtr frame(av_frame_alloc());
    RequireMemory(frame != nullptr);
    frame->format = inFormat;
    frame->width = inWidth;
    frame->height = inHeight;
    RequireMemory(av_frame_get_buffer(frame.get(), 0) == 0);
    return frame;
}

bool IsFullRange(const AVFrame& inFrame)
{
    const AVPixFmtDescriptor* description =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(inFrame.format));
    const bool rgb = description != nullptr && (description->flags & AV_PIX_FMT_FLAG_RGB) != 0;
    return rgb || inFrame.color_range == AVCOL_RANGE_JPEG || LayoutOf(inFrame.format) != 0;
}

// Both frames have FFmpeg's own alignment and padding: its fast paths read and write some bytes
// beyond a row, which a block of the caller could not take.
void Convert(const AVFrame& inSource, AVFrame& ioTarget, int inFlags)
{
    const LogCapture log;
    const ScalerPtr scaler(sws_getContext(
        inSource.width, inSource.height, static_cast<AVPixelFormat>(inSource.format),
        ioTarget.width, ioTarget.height, static_cast<AVPixelFormat>(ioTarget.format),
        inFlags | SWS_ACCURATE_RND | SWS_BITEXACT | SWS_FULL_CHR_H_INT, nullptr, nullptr, nullptr));
    if (scaler == nullptr)
        throw ImporterError{kRKImageStatus_Unsupported, "no conversion from this kind of pixels"};
    const int* matrix = sws_getCoefficients(SWS_CS_ITU601);
    // Refused for pairs of formats that need no matrix, and then there is nothing to set.
    sws_setColorspaceDetails(scaler.get(), matrix, IsFullRange(inSource) ? 1 : 0, matrix, 1, 0,
                             1 << 16, 1 << 16);
    const int rows = sws_scale(scaler.get(), inSource.data, inSource.linesize, 0, inSource.height,
                               ioTarget.data, ioTarget.linesize);
    if (rows != ioTarget.height)
        throw ImporterError{kRKImageStatus_Failed, "the conversion of pixels failed"};
}

} // namespace

FramePtr ToHostLayout(FramePtr inFrame)
{
    const bool fullRange = inFrame->color_range == AVCOL_RANGE_JPEG;
    if (inFrame->format == AV_PIX_FMT_YUV420P && fullRange)
        inFrame->format = AV_PIX_FMT_YUVJ420P;
    if (inFrame->format == AV_PIX_FMT_YUV422P && fullRange)
        inFrame->format = AV_PIX_FMT_YUVJ422P;
    if (LayoutOf(inFrame->format) != kRKImageLayout_None)
        return inFrame;
    FramePtr target = MakeFrame(AV_PIX_FMT_BGRA, inFrame->width, inFrame->height);
    Convert(*inFrame, *target, SWS_BICUBIC);
    return target;
}

RKImageInfo DescribeFrame(const AVFrame& inFrame, const char* inFormat)
{
    const auto format = static_cast<AVPixelFormat>(inFrame.format);
    RKImageInfo info = {};
    info.mWidth = static_cast<std::uint32_t>(inFrame.width);
    info.mHeight = static_cast<std::uint32_t>(inFrame.height);
    info.mLayout = LayoutOf(inFrame.format);
    info.mPlaneCount = static_cast<std::uint32_t>(av_pix_fmt_count_planes(format));
    const int chromaRows =
        AV_CEIL_RSHIFT(inFrame.height, info.mLayout == kRKImageLayout_YUV420P8 ? 1 : 0);
    for (std::uint32_t plane = 0; plane < info.mPlaneCount; ++plane)
    {
        const int rowBytes = av_image_get_linesize(format, inFrame.width, static_cast<int>(plane));
        const int rows = plane == 0 ? inFrame.height : chromaRows;
        info.mPlanes[plane] = {info.mByteCount, static_cast<std::uint32_t>(rowBytes),
                               static_cast<std::uint32_t>(rows)};
        info.mByteCount += std::uint64_t{info.mPlanes[plane].mRowBytes} * info.mPlanes[plane].mRows;
    }
    std::strncpy(info.mFormat, inFormat, sizeof info.mFormat - 1);
    return info;
}

void RequireValidInfo(const RKImageInfo& inInfo)
{
    const AVPixelFormat format = FormatOf(inInfo.mLayout);
    const std::uint64_t pixels = std::uint64_t{inInfo.mWidth} * inInfo.mHeight;
    if (format == AV_PIX_FMT_NONE || pixels == 0 || inInfo.mWidth > RK_IMAGE_MAX_SIDE ||
        inInfo.mHeight > RK_IMAGE_MAX_SIDE || pixels > RK_IMAGE_MAX_PIXELS ||
        av_image_get_buffer_size(format, static_cast<int>(inInfo.mWidth),
                                 static_cast<int>(inInfo.mHeight),
                                 kTight) != static_cast<std::int64_t>(inInfo.mByteCount))
        throw ImporterError{kRKImageStatus_BadArgument, "the description of the block is wrong"};
}

void CopyFrame(const AVFrame& inFrame, void* outBlock, std::uint64_t inSize)
{
    const auto format = static_cast<AVPixelFormat>(inFrame.format);
    const int needed = av_image_get_buffer_size(format, inFrame.width, inFrame.height, kTight);
    if (needed < 0 || static_cast<std::uint64_t>(needed) != inSize)
        throw ImporterError{kRKImageStatus_BadArgument,
                            "the block has another size than the image"};
    const int copied =
        av_image_copy_to_buffer(static_cast<std::uint8_t*>(outBlock), needed, inFrame.data,
                                inFrame.linesize, format, inFrame.width, inFrame.height, kTight);
    if (copied < 0)
        ThrowAvError(copied, "copying pixels");
}

void ScaleBlock(const RKImageInfo& inInfo, const void* inBlock, std::uint8_t* outPixels,
                std::uint32_t inWidth, std::uint32_t inHeight, std::uint32_t inRowBytes)
{
    RequireValidInfo(inInfo);
    const AVPixelFormat format = FormatOf(inInfo.mLayout);
    const int width = static_cast<int>(inInfo.mWidth);
    const int height = static_cast<int>(inInfo.mHeight);
    std::uint8_t* planes[4] = {};
    int rowBytes[4] = {};
    av_image_fill_arrays(planes, rowBytes, static_cast<const std::uint8_t*>(inBlock), format, width,
                         height, kTight);
    const FramePtr source = MakeFrame(format, width, height);
    av_image_copy(source->data, source->linesize, const_cast<const std::uint8_t**>(planes),
                  rowBytes, format, width, height);
    const FramePtr target =
        MakeFrame(AV_PIX_FMT_BGRA, static_cast<int>(inWidth), static_cast<int>(inHeight));
    Convert(*source, *target, inWidth < inInfo.mWidth ? SWS_AREA : SWS_BICUBIC);
    for (std::uint32_t row = 0; row < inHeight; ++row)
        std::memcpy(outPixels + std::size_t{row} * inRowBytes,
                    target->data[0] + std::ptrdiff_t{target->linesize[0]} * row,
                    std::size_t{inWidth} * 4);
}

} // namespace RKHost
