// Licence: this source is under the Apache License 2.0 like the rest of the project. The binary links
// FFmpeg, which Debian builds with GPL parts, and is therefore under the GPL (version 2 or later).

#include "Container.h"

#include <cstring>

#include "ImporterError.h"

namespace RKHost
{

namespace
{

struct Signature
{
    const char* mBytes;
    std::size_t mSize;
    Container mContainer;
};

constexpr Signature kSignatures[] = {
    {"\x89PNG\r\n\x1a\n", 8, {"png", AV_CODEC_ID_PNG}},
    {"\xff\xd8\xff", 3, {"jpeg", AV_CODEC_ID_MJPEG}},
    {"II*\0", 4, {"tiff", AV_CODEC_ID_TIFF}},
    {"MM\0*", 4, {"tiff", AV_CODEC_ID_TIFF}},
    {"SDPX", 4, {"dpx", AV_CODEC_ID_DPX}},
    {"XPDS", 4, {"dpx", AV_CODEC_ID_DPX}},
    {"\x76\x2f\x31\x01", 4, {"exr", AV_CODEC_ID_EXR}},
};

std::size_t Big(const std::uint8_t* inData, int inBytes)
{
    std::size_t value = 0;
    for (int i = 0; i < inBytes; ++i)
        value = value << 8 | inData[i];
    return value;
}

// A chunk is a length, a name, so many bytes, and a checksum; the last one is named IEND.
bool HasEndOfPNG(const std::uint8_t* inData, std::size_t inSize)
{
    std::size_t at = 8;
    while (inSize - at >= 12)
    {
        const std::size_t length = Big(inData + at, 4);
        if (length > inSize - at - 12)
            return false;
        if (std::memcmp(inData + at + 4, "IEND", 4) == 0)
            return true;
        at += 12 + length;
    }
    return false;
}

bool StandsAlone(std::uint8_t inMarker)
{
    return inMarker == 0x01 || (inMarker >= 0xd0 && inMarker <= 0xd8);
}

// The end is looked for behind the start of the first scan only: a preview within the metadata has an
// end marker of its own. In coded pixels the byte 0xff is always followed by 0 or a restart marker.
bool HasEndOfJPEG(const std::uint8_t* inData, std::size_t inSize)
{
    bool inScan = false;
    for (std::size_t at = 2; inSize - at >= 2;)
    {
        const std::uint8_t marker = inData[at + 1];
        if (inData[at] != 0xff || marker == 0xff || (inScan && marker == 0) || StandsAlone(marker))
        {
            // A fill byte or coded data goes by one at a time, anything else is a pair.
            at += inData[at] != 0xff || marker == 0xff ? 1 : 2;
            continue;
        }
        if (marker == 0xd9)
            return inScan;
        if (inSize - at < 4)
            return false;
        inScan = inScan || marker == 0xda;
        const std::size_t length = Big(inData + at + 2, 2);
        if (length < 2 || length > inSize - at - 2)
            return false;
        at += 2 + length;
    }
    return false;
}

} // namespace

Container RecognizeContainer(const std::uint8_t* inData, std::size_t inSize)
{
    for (const Signature& signature : kSignatures)
        if (inSize >= signature.mSize &&
            std::memcmp(inData, signature.mBytes, signature.mSize) == 0)
            return signature.mContainer;
    throw ImporterError{kRKImageStatus_UnknownFormat,
                        inSize == 0 ? "the file is empty"
                                    : "not a PNG, JPEG, TIFF, DPX or OpenEXR image"};
}

void RequireCompleteContainer(const Container& inContainer, const std::uint8_t* inData,
                              std::size_t inSize)
{
    bool complete = true;
    if (inContainer.mCodec == AV_CODEC_ID_PNG)
        complete = HasEndOfPNG(inData, inSize);
    else if (inContainer.mCodec == AV_CODEC_ID_MJPEG)
        complete = HasEndOfJPEG(inData, inSize);
    if (!complete)
        throw ImporterError{kRKImageStatus_Damaged,
                            std::string(inContainer.mName) + ": truncated: its end is missing"};
}

} // namespace RKHost
