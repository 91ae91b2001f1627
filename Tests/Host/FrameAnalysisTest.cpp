#include "FrameAnalysis.h"

#include <cstring>
#include <numeric>

#include "AnalysisFixture.h"

namespace RKHostTests
{
namespace
{

using RKHost::Analyse;
using RKHost::DecodeAnalysis;
using RKHost::EncodeAnalysis;
using RKHost::FrameAnalysis;

class FrameAnalysisTest : public testing::Test
{
protected:
    static Bytes Encoded(const FrameAnalysis& inAnalysis, const std::string& inName = "name")
    {
        const auto memory = EncodeAnalysis(inAnalysis, inName);
        const auto* bytes = static_cast<const std::uint8_t*>(memory->Data());
        return Bytes(bytes, bytes + memory->Size());
    }
    static bool IsRefused(const Bytes& inBytes, const std::string& inName = "name")
    {
        return !DecodeAnalysis(inBytes.data(), inBytes.size(), inName);
    }

    const RKHost::ImporterModule mImporter = LoadBuiltImporter();
    const FrameAnalysis mAnalysis = Analyse(FlatFrame(4, 3, {10, 20, 30}), mImporter);
};

TEST_F(FrameAnalysisTest, AFlatPictureHasOneLumaAndItsOwnColourAsMean)
{
    EXPECT_EQ(4u, mAnalysis.mWidth);
    EXPECT_EQ(3u, mAnalysis.mHeight);
    EXPECT_EQ((std::array<std::uint16_t, 3>{10 * 256, 20 * 256, 30 * 256}), mAnalysis.mMeanColor);
    EXPECT_EQ(12u, mAnalysis.mLuma[22]); // 0.114 * 10 + 0.587 * 20 + 0.299 * 30 = 21.85
    EXPECT_EQ(12u, std::accumulate(mAnalysis.mLuma.begin(), mAnalysis.mLuma.end(), 0u));
}

TEST_F(FrameAnalysisTest, WhiteAndBlackAreTheEndsOfTheHistogram)
{
    EXPECT_EQ(1u, Analyse(FlatFrame(1, 1, {255, 255, 255}), mImporter).mLuma[255]);
    EXPECT_EQ(1u, Analyse(FlatFrame(1, 1, {0, 0, 0}), mImporter).mLuma[0]);
}

TEST_F(FrameAnalysisTest, ThePlanesOfAJpegGiveTheMeanColourOfItsPixels)
{
    const Bytes file = TestFile("quadrants-420.jpg");
    const RKHost::Frame frame = mImporter.Decode(file.data(), file.size());
    ASSERT_EQ(kRKImageLayout_YUV420P8, frame.mInfo.mLayout);
    const FrameAnalysis analysis = Analyse(frame, mImporter);
    const RKHost::Picture pixels = mImporter.Scale(frame, frame.mInfo.mWidth, frame.mInfo.mHeight);
    for (std::size_t channel = 0; channel < 3; ++channel)
    {
        double sum = 0;
        for (std::size_t at = channel; at < pixels.mPixels.size(); at += 4)
            sum += pixels.mPixels[at];
        EXPECT_NEAR(sum / (pixels.mPixels.size() / 4.0), analysis.mMeanColor[channel] / 256.0, 3);
    }
    EXPECT_EQ(frame.mInfo.mWidth * frame.mInfo.mHeight,
              std::accumulate(analysis.mLuma.begin(), analysis.mLuma.end(), 0u));
}

TEST_F(FrameAnalysisTest, TheThumbnailIs160PixelsAtItsLongestSideAndNeverLargerThanTheFrame)
{
    const auto wide = Analyse(FlatFrame(640, 360, {1, 2, 3}), mImporter).mThumbnail;
    EXPECT_EQ(160u, wide.mWidth);
    EXPECT_EQ(90u, wide.mHeight);
    const auto high = Analyse(FlatFrame(2, 1000, {1, 2, 3}), mImporter).mThumbnail;
    EXPECT_EQ(1u, high.mWidth);
    EXPECT_EQ(160u, high.mHeight);
    EXPECT_EQ(4u, mAnalysis.mThumbnail.mWidth);
}

TEST_F(FrameAnalysisTest, PixelsOfAnUnknownLayoutAreRefused)
{
    RKHost::Frame frame = FlatFrame(4, 3, {1, 2, 3});
    frame.mInfo.mLayout = 77;
    EXPECT_THROW(Analyse(frame, mImporter), std::runtime_error);
}

TEST_F(FrameAnalysisTest, ComesBackFromItsBytes)
{
    const Bytes bytes = Encoded(mAnalysis);
    const auto decoded = DecodeAnalysis(bytes.data(), bytes.size(), "name");
    ASSERT_TRUE(decoded);
    EXPECT_EQ(mAnalysis.mWidth, decoded->mWidth);
    EXPECT_EQ(mAnalysis.mHeight, decoded->mHeight);
    EXPECT_EQ(mAnalysis.mLuma, decoded->mLuma);
    EXPECT_EQ(mAnalysis.mMeanColor, decoded->mMeanColor);
    EXPECT_EQ(mAnalysis.mThumbnail.mWidth, decoded->mThumbnail.mWidth);
    EXPECT_EQ(mAnalysis.mThumbnail.mPixels, decoded->mThumbnail.mPixels);
}

TEST_F(FrameAnalysisTest, EachShorterOrLongerRunOfItsBytesIsRefused)
{
    Bytes bytes = Encoded(mAnalysis);
    bytes.push_back(0);
    EXPECT_TRUE(IsRefused(bytes));
    bytes.pop_back();
    while (!bytes.empty())
    {
        bytes.pop_back();
        ASSERT_TRUE(IsRefused(Bytes(bytes))) << bytes.size();
    }
    EXPECT_FALSE(DecodeAnalysis(nullptr, 0, "name"));
}

TEST_F(FrameAnalysisTest, AChangeOfAnyBitIsRefused)
{
    Bytes bytes = Encoded(mAnalysis);
    for (std::uint8_t& byte : bytes)
    {
        for (int bit = 0; bit < 8; ++bit)
        {
            byte ^= 1 << bit;
            ASSERT_TRUE(IsRefused(bytes)) << &byte - bytes.data() << "." << bit;
            byte ^= 1 << bit;
        }
    }
    EXPECT_FALSE(IsRefused(bytes));
}

TEST_F(FrameAnalysisTest, AnAnalysisUnderAnotherNameIsRefused)
{
    const Bytes bytes = Encoded(mAnalysis);
    EXPECT_TRUE(IsRefused(bytes, "other"));
    EXPECT_TRUE(IsRefused(bytes, ""));
}

// Somebody who can compute the hash must not lead a reader out of the bytes.
TEST_F(FrameAnalysisTest, AThumbnailThatDoesNotMatchItsPixelsIsRefusedThoughTheHashIsRight)
{
    FrameAnalysis analysis = mAnalysis;
    analysis.mThumbnail.mWidth += 1;
    EXPECT_TRUE(IsRefused(Encoded(analysis)));
    analysis.mThumbnail.mWidth = 0x40000001; // times 3 rows of 4 bytes passes 32 bits
    EXPECT_TRUE(IsRefused(Encoded(analysis)));
    analysis = mAnalysis;
    analysis.mThumbnail = RKHost::Picture();
    EXPECT_TRUE(IsRefused(Encoded(analysis)));
    analysis = mAnalysis;
    analysis.mWidth = 5; // 15 pixels, and 12 in the histogram
    EXPECT_TRUE(IsRefused(Encoded(analysis)));
}

} // namespace
} // namespace RKHostTests
