// The image importer of rkhost: the C border, and nothing else.
//
// Licence: this source is under the Apache License 2.0 like the rest of the project. The binary links
// FFmpeg, which Debian builds with GPL parts, and is therefore under the GPL (version 2 or later).

#include "../ImageImporter.h"

#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <utility>

#include "Container.h"
#include "Decoder.h"
#include "ImporterError.h"
#include "LogCapture.h"
#include "Pixels.h"
#include "PngWriter.h"

struct RKImage
{
    RKHost::FramePtr mFrame;
};

namespace
{

using RKHost::ImporterError;

void SetText(RKImageError* outError, const std::string& inText)
{
    if (outError == nullptr)
        return;
    std::memset(outError->mText, 0, sizeof outError->mText);
    inText.copy(outError->mText, sizeof outError->mText - 1);
}

template <class Body>
RKImageStatus AtBorder(RKImageError* outError, const Body& inBody) noexcept
{
    SetText(outError, std::string());
    try
    {
        inBody();
        return kRKImageStatus_OK;
    }
    catch (const ImporterError& error)
    {
        SetText(outError, error.mText);
        return error.mStatus;
    }
    catch (const std::bad_alloc&)
    {
        SetText(outError, "not enough memory");
        return kRKImageStatus_OutOfMemory;
    }
    catch (const std::exception& error)
    {
        SetText(outError, error.what());
        return kRKImageStatus_Failed;
    }
}

void RequireArgument(bool inCondition)
{
    if (!inCondition)
        throw ImporterError{kRKImageStatus_BadArgument, "an argument is wrong"};
}

bool IsPicture(std::uint32_t inWidth, std::uint32_t inHeight, std::uint32_t inRowBytes)
{
    return inWidth > 0 && inHeight > 0 && inWidth <= RK_IMAGE_MAX_SIDE &&
           inHeight <= RK_IMAGE_MAX_SIDE &&
           std::uint64_t{inWidth} * inHeight <= RK_IMAGE_MAX_PIXELS && inRowBytes / 4 >= inWidth;
}

void Decode(const std::uint8_t* inData, std::uint64_t inSize, RKImage** outImage,
            RKImageInfo* outInfo)
{
    RequireArgument(outImage != nullptr && outInfo != nullptr &&
                    (inData != nullptr || inSize == 0));
    const RKHost::Container container = RKHost::RecognizeContainer(inData, inSize);
    RKHost::RequireCompleteContainer(container, inData, inSize);
    RKHost::FramePtr frame =
        RKHost::ToHostLayout(RKHost::DecodeWholeFile(container, inData, inSize));
    const RKImageInfo info = RKHost::DescribeFrame(*frame, container.mName);
    RKHost::RequireValidInfo(info);
    *outImage = new RKImage{std::move(frame)};
    *outInfo = info;
}

void Copy(const RKImage* inImage, void* outBlock, std::uint64_t inSize)
{
    RequireArgument(inImage != nullptr && outBlock != nullptr);
    RKHost::CopyFrame(*inImage->mFrame, outBlock, inSize);
}

void Scale(const RKImageInfo* inInfo, const void* inBlock, std::uint8_t* outPixels,
           std::uint32_t inWidth, std::uint32_t inHeight, std::uint32_t inRowBytes)
{
    RequireArgument(inInfo != nullptr && inBlock != nullptr && outPixels != nullptr &&
                    IsPicture(inWidth, inHeight, inRowBytes));
    RKHost::ScaleBlock(*inInfo, inBlock, outPixels, inWidth, inHeight, inRowBytes);
}

void Encode(const std::uint8_t* inPixels, std::uint32_t inWidth, std::uint32_t inHeight,
            std::uint32_t inRowBytes, RKImageBytes* outBytes)
{
    RequireArgument(inPixels != nullptr && outBytes != nullptr &&
                    IsPicture(inWidth, inHeight, inRowBytes));
    const RKHost::PacketPtr packet = RKHost::EncodePng(inPixels, inWidth, inHeight, inRowBytes);
    const auto size = static_cast<std::size_t>(packet->size);
    outBytes->mData = new std::uint8_t[size];
    outBytes->mSize = size;
    std::memcpy(outBytes->mData, packet->data, size);
}

RKImageStatus DecodeImage(const std::uint8_t* inData, std::uint64_t inSize, RKImage** outImage,
                          RKImageInfo* outInfo, RKImageError* outError) noexcept
{
    if (outImage != nullptr)
        *outImage = nullptr;
    if (outInfo != nullptr)
        *outInfo = RKImageInfo{};
    return AtBorder(outError, [&] { Decode(inData, inSize, outImage, outInfo); });
}

RKImageStatus CopyPixels(const RKImage* inImage, void* outBlock, std::uint64_t inSize,
                         RKImageError* outError) noexcept
{
    return AtBorder(outError, [&] { Copy(inImage, outBlock, inSize); });
}

void ReleaseImage(RKImage* inImage) noexcept
{
    delete inImage;
}

RKImageStatus ScaleToBGRA(const RKImageInfo* inInfo, const void* inBlock, std::uint8_t* outPixels,
                          std::uint32_t inWidth, std::uint32_t inHeight, std::uint32_t inRowBytes,
                          RKImageError* outError) noexcept
{
    return AtBorder(outError,
                    [&] { Scale(inInfo, inBlock, outPixels, inWidth, inHeight, inRowBytes); });
}

RKImageStatus EncodePNG(const std::uint8_t* inPixels, std::uint32_t inWidth, std::uint32_t inHeight,
                        std::uint32_t inRowBytes, RKImageBytes* outBytes,
                        RKImageError* outError) noexcept
{
    if (outBytes != nullptr)
        *outBytes = RKImageBytes{};
    return AtBorder(outError, [&] { Encode(inPixels, inWidth, inHeight, inRowBytes, outBytes); });
}

void ReleaseBytes(RKImageBytes* ioBytes) noexcept
{
    if (ioBytes == nullptr)
        return;
    delete[] ioBytes->mData;
    *ioBytes = RKImageBytes{};
}

} // namespace

extern "C" __attribute__((visibility("default"))) const RKImageImporter*
RKGetImageImporter(std::uint32_t inABI)
{
    static const std::string sName = std::string("image importer with FFmpeg ") + av_version_info();
    static const RKImageImporter sTable = {RK_IMAGE_IMPORTER_ABI, sName.c_str(), avcodec_license(),
                                           &DecodeImage,          &CopyPixels,   &ReleaseImage,
                                           &ScaleToBGRA,          &EncodePNG,    &ReleaseBytes};
    static const bool sInstalled = (RKHost::LogCapture::Install(), true);
    return sInstalled && inABI == RK_IMAGE_IMPORTER_ABI ? &sTable : nullptr;
}
