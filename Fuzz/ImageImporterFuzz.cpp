// The image importer of rkhost, through its C border: any bytes are an image or an error, and the pixels
// of an image can be copied and scaled.
#include "Host/Plugins/ImageImporter.h"

#include <cstdlib>
#include <vector>

extern "C" const RKImageImporter* RKGetImageImporter(uint32_t inABI);

namespace
{

void Require(bool inCondition)
{
    if (!inCondition)
        std::abort();
}

void Use(const RKImageImporter& inImporter, const RKImage* inImage, const RKImageInfo& inInfo)
{
    std::vector<uint8_t> pixels(inInfo.mByteCount);
    Require(inImporter.CopyPixels(inImage, pixels.data(), pixels.size(), nullptr) ==
            kRKImageStatus_OK);
    std::vector<uint8_t> small(16 * 9 * 4);
    inImporter.ScaleToBGRA(&inInfo, pixels.data(), small.data(), 16, 9, 16 * 4, nullptr);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* inData, size_t inSize)
{
    static const RKImageImporter& sImporter = *RKGetImageImporter(RK_IMAGE_IMPORTER_ABI);
    RKImage* image = nullptr;
    RKImageInfo info = {};
    RKImageError error = {};
    const RKImageStatus status = sImporter.DecodeImage(inData, inSize, &image, &info, &error);
    Require((status == kRKImageStatus_OK) == (image != nullptr));
    Require((status == kRKImageStatus_OK) == (error.mText[0] == '\0'));
    // Megapixels of an image that a few bytes make would only slow the search down.
    if (image != nullptr && info.mByteCount < 4u << 20)
        Use(sImporter, image, info);
    sImporter.ReleaseImage(image);
    return 0;
}
