#include "FrameAnalysis.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <stdexcept>
#include <type_traits>

#include "ContactSheet.h"
#include "qelcore/MixHash.h"

namespace RKHost
{

namespace
{

using qelcore::utility::MixHash;

// In the machine's order of bytes; to one of the other order this is another version.
struct Head
{
    char mMagic[4];
    std::uint32_t mVersion;
    MixHash::HashValue mHash; // of the name, and of all that follows
};

struct Body
{
    std::uint32_t mWidth;
    std::uint32_t mHeight;
    std::uint32_t mThumbnailWidth;
    std::uint32_t mThumbnailHeight;
    std::array<std::uint16_t, 3> mMeanColor;
    std::uint16_t mUnused;
    std::array<std::uint32_t, 256> mLuma;
    // Then the thumbnail's pixels.
};
static_assert(sizeof(Head) == 24 && sizeof(Body) == 1048, "records without padding");
static_assert(std::is_trivially_copyable_v<Head> && std::is_trivially_copyable_v<Body>);

constexpr char kMagic[4] = {'R', 'K', 'F', 'A'};
constexpr std::uint32_t kVersion = 1;
constexpr std::uint32_t kBytesPerPixel = 4;

MixHash::HashValue HashOf(const std::string& inName, const void* inBody, std::size_t inSize)
{
    MixHash::HashValue hash = {};
    MixHash::MixInData(hash, inName.data(), inName.size());
    MixHash::MixInData(hash, inBody, inSize);
    return hash;
}

std::size_t ThumbnailBytes(std::uint64_t inWidth, std::uint64_t inHeight)
{
    return static_cast<std::size_t>(inWidth * inHeight * kBytesPerPixel);
}

// A hash holds against accidents; what would lead out of the bytes is looked at all the same.
bool IsSound(const Body& inBody, std::size_t inPixelBytes)
{
    const auto isSide = [](std::uint32_t inSide)
    { return inSide > 0 && inSide <= FrameAnalysis::kLongestThumbnailSide; };
    const auto pixels = std::accumulate(inBody.mLuma.begin(), inBody.mLuma.end(), std::uint64_t{0});
    return isSide(inBody.mThumbnailWidth) && isSide(inBody.mThumbnailHeight) &&
           ThumbnailBytes(inBody.mThumbnailWidth, inBody.mThumbnailHeight) == inPixelBytes &&
           pixels == std::uint64_t{inBody.mWidth} * inBody.mHeight;
}

class FrameReader
{
public:
    explicit FrameReader(const Frame& inFrame)
        : mInfo(inFrame.mInfo)
        , mBytes(static_cast<const std::uint8_t*>(inFrame.mPixels->Data()))
    {
    }

    void Read(FrameAnalysis& outAnalysis) const
    {
        switch (mInfo.mLayout)
        {
        case kRKImageLayout_BGRA8:
            return ReadBGRA(outAnalysis);
        case kRKImageLayout_YUV420P8:
        case kRKImageLayout_YUV422P8:
            return ReadYUV(outAnalysis);
        default:
            throw std::runtime_error("pixels of a layout that cannot be analysed");
        }
    }

private:
    const std::uint8_t* RowOf(std::size_t inPlane, std::uint32_t inRow) const
    {
        const RKImagePlane& plane = mInfo.mPlanes[inPlane];
        return mBytes + plane.mOffset + std::size_t{plane.mRowBytes} * inRow;
    }

    void ReadBGRA(FrameAnalysis& outAnalysis) const
    {
        std::array<std::uint64_t, 3> sums = {};
        for (std::uint32_t y = 0; y < mInfo.mHeight; ++y)
        {
            const std::uint8_t* pixel = RowOf(0, y);
            for (std::uint32_t x = 0; x < mInfo.mWidth; ++x, pixel += kBytesPerPixel)
            {
                for (std::size_t i = 0; i < sums.size(); ++i)
                    sums[i] += pixel[i];
                // The weights of BT.601, 256 in all.
                ++outAnalysis.mLuma[(29u * pixel[0] + 150u * pixel[1] + 77u * pixel[2] + 128) >> 8];
            }
        }
        const double pixels = double(mInfo.mWidth) * mInfo.mHeight;
        for (std::size_t i = 0; i < sums.size(); ++i)
            outAnalysis.mMeanColor[i] = Stepped(double(sums[i]) / pixels);
    }

    void ReadYUV(FrameAnalysis& outAnalysis) const
    {
        for (std::uint32_t y = 0; y < mInfo.mHeight; ++y)
        {
            const std::uint8_t* row = RowOf(0, y);
            for (std::uint32_t x = 0; x < mInfo.mWidth; ++x)
                ++outAnalysis.mLuma[row[x]];
        }
        // What is linear may be averaged first; only what is clipped in a picture differs a little.
        const double y = MeanOf(0), u = MeanOf(1) - 128, v = MeanOf(2) - 128;
        outAnalysis.mMeanColor = {Stepped(y + 1.772 * u), Stepped(y - 0.344136 * u - 0.714136 * v),
                                  Stepped(y + 1.402 * v)};
    }

    double MeanOf(std::size_t inPlane) const
    {
        const RKImagePlane& plane = mInfo.mPlanes[inPlane];
        std::uint64_t sum = 0;
        for (std::uint32_t y = 0; y < plane.mRows; ++y)
        {
            const std::uint8_t* row = RowOf(inPlane, y);
            sum += std::accumulate(row, row + plane.mRowBytes, std::uint64_t{0});
        }
        return double(sum) / (double(plane.mRowBytes) * plane.mRows);
    }

    static std::uint16_t Stepped(double inMean)
    {
        return static_cast<std::uint16_t>(std::lround(std::clamp(inMean, 0.0, 255.0) * 256));
    }

    const RKImageInfo& mInfo;
    const std::uint8_t* mBytes;
};

} // namespace

FrameAnalysis Analyse(const Frame& inFrame, const ImporterModule& inImporter)
{
    constexpr std::uint32_t kLongest = FrameAnalysis::kLongestThumbnailSide;
    FrameAnalysis analysis;
    analysis.mWidth = inFrame.mInfo.mWidth;
    analysis.mHeight = inFrame.mInfo.mHeight;
    FrameReader(inFrame).Read(analysis);
    const PictureSize size = Fit(inFrame.mInfo, kLongest, kLongest);
    analysis.mThumbnail = inImporter.Scale(inFrame, size.mWidth, size.mHeight);
    return analysis;
}

qelcore::utility::RecycledMemoryPtr EncodeAnalysis(const FrameAnalysis& inAnalysis,
                                                   const std::string& inName)
{
    const Picture& thumbnail = inAnalysis.mThumbnail;
    const Body body = {inAnalysis.mWidth, inAnalysis.mHeight,    thumbnail.mWidth,
                       thumbnail.mHeight, inAnalysis.mMeanColor, 0,
                       inAnalysis.mLuma};
    const std::size_t size = sizeof body + thumbnail.mPixels.size();
    const auto memory = qelcore::utility::RecycledMemory::Create(sizeof(Head) + size);
    auto* const bytes = static_cast<std::uint8_t*>(memory->Data());
    std::uint8_t* const after = bytes + sizeof(Head);
    std::memcpy(after, &body, sizeof body);
    std::copy(thumbnail.mPixels.begin(), thumbnail.mPixels.end(), after + sizeof body);
    Head head = {{}, kVersion, HashOf(inName, after, size)};
    std::memcpy(head.mMagic, kMagic, sizeof kMagic);
    std::memcpy(bytes, &head, sizeof head);
    return memory;
}

std::optional<FrameAnalysis> DecodeAnalysis(const void* inBytes, std::size_t inSize,
                                            const std::string& inName)
{
    if (inBytes == nullptr || inSize < sizeof(Head) + sizeof(Body))
        return std::nullopt;
    const auto* const bytes = static_cast<const std::uint8_t*>(inBytes);
    Head head;
    Body body;
    std::memcpy(&head, bytes, sizeof head);
    std::memcpy(&body, bytes + sizeof head, sizeof body);
    const std::uint8_t* const pixels = bytes + sizeof head + sizeof body;
    const std::size_t pixelBytes = inSize - sizeof head - sizeof body;
    if (std::memcmp(head.mMagic, kMagic, sizeof kMagic) != 0 || head.mVersion != kVersion ||
        head.mHash != HashOf(inName, bytes + sizeof head, inSize - sizeof head) ||
        !IsSound(body, pixelBytes))
        return std::nullopt;
    FrameAnalysis analysis;
    analysis.mWidth = body.mWidth;
    analysis.mHeight = body.mHeight;
    analysis.mLuma = body.mLuma;
    analysis.mMeanColor = body.mMeanColor;
    analysis.mThumbnail = {body.mThumbnailWidth, body.mThumbnailHeight,
                           std::vector<std::uint8_t>(pixels, pixels + pixelBytes)};
    return analysis;
}

} // namespace RKHost
