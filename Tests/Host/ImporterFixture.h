#pragma once

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "Plugins/ImageImporter.h"

namespace RKHostTests
{

using Bytes = std::vector<std::uint8_t>;

/// The bytes of a file in Tests/Host/Data.
inline Bytes TestFile(const std::string& inName)
{
    std::ifstream file(std::string(RKHOST_TEST_DATA) + "/" + inName, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << inName;
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

inline const RKImageImporter& Importer()
{
    static const RKImageImporter* sTable = []
    {
        void* module = dlopen(RKHOST_TEST_IMPORTER, RTLD_NOW | RTLD_LOCAL);
        if (module == nullptr)
        {
            ADD_FAILURE() << dlerror();
            std::abort();
        }
        const auto get =
            reinterpret_cast<RKGetImageImporterFunction>(dlsym(module, RK_IMAGE_IMPORTER_SYMBOL));
        return get(RK_IMAGE_IMPORTER_ABI);
    }();
    return *sTable;
}

struct Decoded
{
    RKImageStatus mStatus = kRKImageStatus_Failed;
    RKImageInfo mInfo = {};
    Bytes mPixels;
    std::string mError;
};

/// Decodes a copy of the bytes that ends where its allocation ends, so that a sanitizer sees a read
/// beyond it.
inline Decoded Decode(const std::uint8_t* inData, std::size_t inSize)
{
    const Bytes exact(inData, inData + inSize);
    Decoded result;
    RKImage* image = nullptr;
    RKImageError error = {};
    result.mStatus =
        Importer().DecodeImage(exact.data(), exact.size(), &image, &result.mInfo, &error);
    result.mError = error.mText;
    EXPECT_EQ(result.mStatus == kRKImageStatus_OK, image != nullptr);
    EXPECT_EQ(result.mStatus == kRKImageStatus_OK, result.mError.empty());
    if (image != nullptr)
    {
        result.mPixels.resize(result.mInfo.mByteCount);
        EXPECT_EQ(kRKImageStatus_OK, Importer().CopyPixels(image, result.mPixels.data(),
                                                           result.mPixels.size(), &error));
    }
    Importer().ReleaseImage(image);
    return result;
}

inline Decoded Decode(const Bytes& inFile)
{
    return Decode(inFile.data(), inFile.size());
}

struct Color
{
    int mRed = 0;
    int mGreen = 0;
    int mBlue = 0;
};

inline bool IsNear(Color inA, Color inB, int inTolerance)
{
    return std::abs(inA.mRed - inB.mRed) <= inTolerance &&
           std::abs(inA.mGreen - inB.mGreen) <= inTolerance &&
           std::abs(inA.mBlue - inB.mBlue) <= inTolerance;
}

inline std::ostream& operator<<(std::ostream& outStream, Color inColor)
{
    return outStream << "(" << inColor.mRed << ", " << inColor.mGreen << ", " << inColor.mBlue
                     << ")";
}

/// @param inPixels  BGRA8.
inline Color ColorAt(const Bytes& inPixels, std::uint32_t inWidth, std::uint32_t inX,
                     std::uint32_t inY)
{
    const std::uint8_t* pixel = &inPixels[(std::size_t{inY} * inWidth + inX) * 4];
    return {pixel[2], pixel[1], pixel[0]};
}

/// The image's pixels as BGRA8, in its own size.
inline Bytes ToBGRA(const Decoded& inImage)
{
    const RKImageInfo& info = inImage.mInfo;
    Bytes pixels(std::size_t{info.mWidth} * info.mHeight * 4);
    RKImageError error = {};
    EXPECT_EQ(kRKImageStatus_OK,
              Importer().ScaleToBGRA(&info, inImage.mPixels.data(), pixels.data(), info.mWidth,
                                     info.mHeight, info.mWidth * 4, &error))
        << error.mText;
    return pixels;
}

} // namespace RKHostTests
