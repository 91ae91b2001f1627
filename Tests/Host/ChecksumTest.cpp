#include "Checksum.h"

#include <vector>

#include <gtest/gtest.h>

namespace RKHostTests
{
namespace
{

using RKHost::ChecksumOf;

std::uint64_t SumOf(const std::vector<std::uint8_t>& inBytes, bool inEveryByte)
{
    return ChecksumOf(inBytes.data(), inBytes.size(), inEveryByte);
}

TEST(Checksum, OfEveryByteSeesAnyByteThatChanged)
{
    for (const std::size_t size : {1u, 7u, 8u, 9u, 31u, 100u})
    {
        std::vector<std::uint8_t> bytes(size, 17);
        const std::uint64_t before = SumOf(bytes, true);
        for (std::size_t i = 0; i < size; ++i)
        {
            ++bytes[i];
            EXPECT_NE(before, SumOf(bytes, true)) << "byte " << i << " of " << size;
            --bytes[i];
        }
        EXPECT_EQ(before, SumOf(bytes, true));
    }
}

TEST(Checksum, OfASampleSeesTheStartOfEachPageAndTheEnd)
{
    std::vector<std::uint8_t> bytes(3 * 4096 + 100, 17);
    const std::uint64_t before = SumOf(bytes, false);
    for (const std::size_t at : {std::size_t{0}, std::size_t{4096 + 7}, std::size_t{3 * 4096},
                                 bytes.size() - 8, bytes.size() - 1})
    {
        ++bytes[at];
        EXPECT_NE(before, SumOf(bytes, false)) << at;
        --bytes[at];
    }
}

TEST(Checksum, SeesHowManyBytesThereAre)
{
    const std::vector<std::uint8_t> zeros(5000);
    EXPECT_NE(ChecksumOf(zeros.data(), 4999, false), ChecksumOf(zeros.data(), 5000, false));
    EXPECT_EQ(ChecksumOf(nullptr, 0, true), ChecksumOf(nullptr, 0, true));
}

} // namespace
} // namespace RKHostTests
