// The image importer plug-in through its C border, as rkhost sees it.
#include "ImporterFixture.h"

#include <cctype>
#include <cstring>
#include <map>
#include <random>
#include <thread>

namespace RKHostTests
{
namespace
{

// Every file shows four quadrants of 16 x 16 pixels: red, green; blue, grey.
struct Sample
{
    const char* mFile;
    const char* mFormat;
    RKImageLayout mLayout;
    std::uint64_t mByteCount;
    int mTolerance; ///< of a component, for what compression and conversion lose
    bool mLinear;   ///< the file holds linear light: the colours come out brighter, as on a screen
};

constexpr Sample kSamples[] = {
    {"quadrants.png", "png", kRKImageLayout_BGRA8, 4096, 0, false},
    {"quadrants-16bit.png", "png", kRKImageLayout_BGRA8, 4096, 1, false},
    {"quadrants-420.jpg", "jpeg", kRKImageLayout_YUV420P8, 1024 + 2 * 256, 4, false},
    {"quadrants-422.jpg", "jpeg", kRKImageLayout_YUV422P8, 1024 + 2 * 512, 4, false},
    {"quadrants-444.jpg", "jpeg", kRKImageLayout_BGRA8, 4096, 4, false},
    {"quadrants.tiff", "tiff", kRKImageLayout_BGRA8, 4096, 0, false},
    {"quadrants-raw.tiff", "tiff", kRKImageLayout_BGRA8, 4096, 0, false},
    {"quadrants.dpx", "dpx", kRKImageLayout_BGRA8, 4096, 1, false},
    {"quadrants.exr", "exr", kRKImageLayout_BGRA8, 4096, 2, true},
    {"quadrants-half.exr", "exr", kRKImageLayout_BGRA8, 4096, 2, true},
};

constexpr Color kQuadrants[] = {{200, 50, 50}, {50, 200, 50}, {50, 50, 200}, {128, 128, 128}};
// The same through the transfer curve of sRGB.
constexpr Color kLinearQuadrants[] = {
    {229, 122, 122}, {122, 229, 122}, {122, 122, 229}, {188, 188, 188}};

class EachSample : public testing::TestWithParam<Sample>
{
};

void PrintTo(const Sample& inSample, std::ostream* outStream)
{
    *outStream << inSample.mFile;
}

INSTANTIATE_TEST_SUITE_P(ImageImporter, EachSample, testing::ValuesIn(kSamples),
                         [](const testing::TestParamInfo<Sample>& inInfo)
                         {
                             std::string name = inInfo.param.mFile;
                             for (char& c : name)
                                 if (std::isalnum(static_cast<unsigned char>(c)) == 0)
                                     c = '_';
                             return name;
                         });

TEST_P(EachSample, IsDecodedInTheLayoutThatIsPromisedForIt)
{
    const Sample& sample = GetParam();

    const Decoded image = Decode(TestFile(sample.mFile));

    ASSERT_EQ(kRKImageStatus_OK, image.mStatus) << image.mError;
    EXPECT_EQ(32u, image.mInfo.mWidth);
    EXPECT_EQ(32u, image.mInfo.mHeight);
    EXPECT_STREQ(sample.mFormat, image.mInfo.mFormat);
    EXPECT_EQ(sample.mLayout, image.mInfo.mLayout);
    EXPECT_EQ(sample.mByteCount, image.mInfo.mByteCount);
}

TEST_P(EachSample, DescribesPlanesThatFillTheBlockWithoutGaps)
{
    const Decoded image = Decode(TestFile(GetParam().mFile));

    ASSERT_EQ(kRKImageStatus_OK, image.mStatus) << image.mError;
    ASSERT_EQ(image.mInfo.mLayout == kRKImageLayout_BGRA8 ? 1u : 3u, image.mInfo.mPlaneCount);
    std::uint64_t end = 0;
    for (std::uint32_t i = 0; i < image.mInfo.mPlaneCount; ++i)
    {
        const RKImagePlane& plane = image.mInfo.mPlanes[i];
        EXPECT_EQ(end, plane.mOffset) << "plane " << i;
        end += std::uint64_t{plane.mRowBytes} * plane.mRows;
    }
    EXPECT_EQ(image.mInfo.mByteCount, end);
}

TEST_P(EachSample, ShowsItsFourColours)
{
    const Sample& sample = GetParam();
    const Decoded image = Decode(TestFile(sample.mFile));
    ASSERT_EQ(kRKImageStatus_OK, image.mStatus) << image.mError;

    const Bytes pixels = ToBGRA(image);

    for (std::uint32_t i = 0; i < 4; ++i)
    {
        const Color wanted = sample.mLinear ? kLinearQuadrants[i] : kQuadrants[i];
        const Color found = ColorAt(pixels, 32, 8 + i % 2 * 16, 8 + i / 2 * 16);
        EXPECT_TRUE(IsNear(wanted, found, sample.mTolerance))
            << "quadrant " << i << ": " << found << " for " << wanted;
    }
}

TEST_P(EachSample, IsAnErrorOrTheWholeImageWhereverItWasCutShort)
{
    const Bytes whole = TestFile(GetParam().mFile);
    const Decoded good = Decode(whole);
    ASSERT_EQ(kRKImageStatus_OK, good.mStatus) << good.mError;

    // Everywhere in the headers and near the end, and at many places of the pixels between.
    const std::size_t end = whole.size() - 64;
    for (std::size_t size = 0; size < whole.size(); size += size < 600 || size >= end ? 1 : 13)
    {
        const Decoded cut = Decode(whole.data(), size);
        if (cut.mStatus == kRKImageStatus_OK)
        {
            // Only what stands behind everything that matters may be missing.
            EXPECT_GE(size + 16, whole.size()) << "cut at " << size;
            EXPECT_EQ(good.mPixels, cut.mPixels) << "cut at " << size;
        }
        else
            EXPECT_TRUE(cut.mStatus == kRKImageStatus_Damaged ||
                        cut.mStatus == kRKImageStatus_UnknownFormat)
                << "cut at " << size << ": " << cut.mStatus << " " << cut.mError;
    }
}

TEST_P(EachSample, SurvivesBytesChangedAtRandom)
{
    const Bytes whole = TestFile(GetParam().mFile);
    std::mt19937 random(20);
    int refused = 0;
    for (int round = 0; round < 600; ++round)
    {
        Bytes damaged = whole;
        for (unsigned i = 0; i < 1 + round % 8u; ++i)
            damaged[random() % damaged.size()] = static_cast<std::uint8_t>(random());
        const Decoded image = Decode(damaged);
        refused += image.mStatus == kRKImageStatus_OK ? 0 : 1;
        ASSERT_GE(image.mStatus, kRKImageStatus_Failed) << image.mError;
    }
    EXPECT_GT(refused, 0);
}

TEST(ImageImporter, RefusesWhatIsNoImage)
{
    const Bytes garbage(5000, 0x5a);
    EXPECT_EQ(kRKImageStatus_UnknownFormat, Decode(garbage).mStatus);
    EXPECT_EQ("the file is empty", Decode(Bytes()).mError);
}

TEST(ImageImporter, ReportsPixelsThatDoNotUnpackAsDamage)
{
    // The strips of this file are packed from byte 8 on.
    Bytes damaged = TestFile("quadrants.tiff");
    for (std::size_t i = 12; i < 40; ++i)
        damaged[i] ^= 0x55;
    EXPECT_EQ(kRKImageStatus_Damaged, Decode(damaged).mStatus);
}

TEST(ImageImporter, ReportsADamagedBlockOfOpenEXRAsDamage)
{
    Bytes damaged = TestFile("quadrants.exr");
    for (std::size_t i = damaged.size() - 40; i < damaged.size(); ++i)
        damaged[i] ^= 0x55;
    EXPECT_EQ(kRKImageStatus_Damaged, Decode(damaged).mStatus);
}

void SetBig(Bytes& ioFile, std::size_t inAt, std::uint32_t inValue)
{
    for (std::size_t i = 0; i < 4; ++i)
        ioFile[inAt + i] = static_cast<std::uint8_t>(inValue >> (24 - 8 * i));
}

std::uint32_t Crc(const std::uint8_t* inBytes, std::size_t inSize)
{
    std::uint32_t crc = ~0u;
    for (std::size_t i = 0; i < inSize; ++i)
    {
        crc ^= inBytes[i];
        for (int bit = 0; bit < 8; ++bit)
            crc = crc & 1 ? crc >> 1 ^ 0xedb88320u : crc >> 1;
    }
    return ~crc;
}

// The header of a PNG: width at 16, height at 20, and the checksum of both and what follows at 29.
Bytes PngThatSays(std::uint32_t inWidth, std::uint32_t inHeight)
{
    Bytes file = TestFile("quadrants.png");
    SetBig(file, 16, inWidth);
    SetBig(file, 20, inHeight);
    SetBig(file, 29, Crc(&file[12], 17));
    return file;
}

TEST(ImageImporter, RefusesSizesBeyondItsLimitsByTheirOwnStatus)
{
    EXPECT_EQ(kRKImageStatus_TooLarge, Decode(PngThatSays(RK_IMAGE_MAX_SIDE + 1, 1)).mStatus);
    EXPECT_EQ(kRKImageStatus_TooLarge, Decode(PngThatSays(1, RK_IMAGE_MAX_SIDE + 1)).mStatus);
    EXPECT_EQ(kRKImageStatus_TooLarge, Decode(PngThatSays(20000, 20000)).mStatus);
    EXPECT_EQ(kRKImageStatus_TooLarge, Decode(PngThatSays(0x7fffffff, 0x7fffffff)).mStatus);
}

TEST(ImageImporter, TakesASizeAtItsLimitForWhatItIs)
{
    // Too few pixels follow, and that is what is wrong with it.
    EXPECT_EQ(kRKImageStatus_Damaged, Decode(PngThatSays(RK_IMAGE_MAX_SIDE, 4)).mStatus);
}

TEST(ImageImporter, RefusesABlockOfAnotherSizeThanTheImage)
{
    const Bytes file = TestFile("quadrants.png");
    RKImage* image = nullptr;
    RKImageInfo info = {};
    ASSERT_EQ(kRKImageStatus_OK,
              Importer().DecodeImage(file.data(), file.size(), &image, &info, nullptr));
    Bytes block(info.mByteCount + 1);

    EXPECT_EQ(kRKImageStatus_BadArgument,
              Importer().CopyPixels(image, block.data(), info.mByteCount - 1, nullptr));
    EXPECT_EQ(kRKImageStatus_BadArgument,
              Importer().CopyPixels(image, block.data(), info.mByteCount + 1, nullptr));
    Importer().ReleaseImage(image);
}

TEST(ImageImporter, RefusesADescriptionThatDoesNotFitItsBlock)
{
    Decoded image = Decode(TestFile("quadrants.png"));
    image.mInfo.mByteCount -= 4;
    Bytes pixels(4096);
    EXPECT_EQ(kRKImageStatus_BadArgument,
              Importer().ScaleToBGRA(&image.mInfo, image.mPixels.data(), pixels.data(), 32, 32, 128,
                                     nullptr));
}

TEST(ImageImporter, RefusesNullsAndEmptyPictures)
{
    RKImageBytes bytes = {};
    const Bytes pixels(64);
    EXPECT_EQ(kRKImageStatus_BadArgument,
              Importer().DecodeImage(nullptr, 5, nullptr, nullptr, nullptr));
    EXPECT_EQ(kRKImageStatus_BadArgument,
              Importer().EncodePNG(pixels.data(), 0, 4, 16, &bytes, nullptr));
    EXPECT_EQ(kRKImageStatus_BadArgument,
              Importer().EncodePNG(pixels.data(), 4, 4, 15, &bytes, nullptr));
    Importer().ReleaseImage(nullptr);
    Importer().ReleaseBytes(&bytes);
    Importer().ReleaseBytes(nullptr);
}

TEST(ImageImporter, ReadsThePngThatItWrites)
{
    Bytes pixels(5 * 3 * 4);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = i % 4 == 3 ? 255 : static_cast<std::uint8_t>(i * 7);
    RKImageBytes bytes = {};
    ASSERT_EQ(kRKImageStatus_OK, Importer().EncodePNG(pixels.data(), 5, 3, 20, &bytes, nullptr));

    const Decoded image = Decode(bytes.mData, bytes.mSize);
    Importer().ReleaseBytes(&bytes);

    EXPECT_EQ(nullptr, bytes.mData);
    ASSERT_EQ(kRKImageStatus_OK, image.mStatus) << image.mError;
    EXPECT_EQ(5u, image.mInfo.mWidth);
    EXPECT_EQ(pixels, image.mPixels);
}

TEST(ImageImporter, ScalesWithoutWritingBeyondARow)
{
    const Decoded image = Decode(TestFile("quadrants-420.jpg"));
    constexpr std::uint32_t kWidth = 7;
    constexpr std::uint32_t kRowBytes = 40; // 12 more than the pixels take
    Bytes pixels(kRowBytes * 5, 0xee);

    ASSERT_EQ(kRKImageStatus_OK,
              Importer().ScaleToBGRA(&image.mInfo, image.mPixels.data(), pixels.data(), kWidth, 5,
                                     kRowBytes, nullptr));

    for (std::size_t row = 0; row < 5; ++row)
        for (std::size_t i = kWidth * 4; i < kRowBytes; ++i)
            EXPECT_EQ(0xee, pixels[row * kRowBytes + i]) << "row " << row << ", byte " << i;
    EXPECT_TRUE(IsNear({200, 50, 50}, ColorAt(pixels, kRowBytes / 4, 1, 1), 4));
}

TEST(ImageImporter, KeepsAnOddSizeOfHalvedChroma)
{
    // 0xffc0 begins the frame's header: a length, a precision, then height and width.
    Bytes file = TestFile("quadrants-420.jpg");
    std::size_t at = 0;
    while (file[at] != 0xff || file[at + 1] != 0xc0)
        ++at;
    file[at + 6] = 31;
    file[at + 8] = 29;

    const Decoded image = Decode(file);

    ASSERT_EQ(kRKImageStatus_OK, image.mStatus) << image.mError;
    EXPECT_EQ(29u, image.mInfo.mPlanes[0].mRowBytes);
    EXPECT_EQ(15u, image.mInfo.mPlanes[1].mRowBytes);
    EXPECT_EQ(16u, image.mInfo.mPlanes[1].mRows);
    EXPECT_EQ(29u * 31 + 2 * 15 * 16, image.mInfo.mByteCount);
}

TEST(ImageImporter, SpeaksOneVersionOfTheBorderOnly)
{
    void* module = dlopen(RKHOST_TEST_IMPORTER, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, module);
    const auto get =
        reinterpret_cast<RKGetImageImporterFunction>(dlsym(module, RK_IMAGE_IMPORTER_SYMBOL));
    EXPECT_EQ(nullptr, get(RK_IMAGE_IMPORTER_ABI + 1));
    ASSERT_NE(nullptr, get(RK_IMAGE_IMPORTER_ABI));
    EXPECT_NE(nullptr, std::strstr(get(RK_IMAGE_IMPORTER_ABI)->mLicence, "GPL"));
}

TEST(ImageImporterStress, DecodesTheSameOnManyThreadsAtATime)
{
    std::map<std::string, Bytes> expected;
    for (const Sample& sample : kSamples)
        expected[sample.mFile] = Decode(TestFile(sample.mFile)).mPixels;

    std::vector<std::thread> threads;
    std::vector<int> wrong(4);
    for (std::size_t t = 0; t < wrong.size(); ++t)
        threads.emplace_back(
            [&, t]
            {
                for (int round = 0; round < 20; ++round)
                    for (const Sample& sample : kSamples)
                        wrong[t] += Decode(TestFile(sample.mFile)).mPixels == expected[sample.mFile]
                                        ? 0
                                        : 1;
            });
    for (std::thread& thread : threads)
        thread.join();

    EXPECT_EQ(std::vector<int>(4), wrong);
}

} // namespace
} // namespace RKHostTests
