#include "RiverKit/RKBinaryData.h"

#include <gtest/gtest.h>

#include "DataCacheSupport.h"

namespace
{

using namespace Testing;
using RK::BinaryData;

qelcore::UTF8String Encoded(const BinaryData& inData)
{
    qelcore::UTF8String text;
    EXPECT_EQ(RK::EncodeBinaryDataToUTF8String(inData, text), 0);
    return text;
}

TEST(BinaryData, ComesBackInMemoryOfItsOwn)
{
    const BinaryData data(BufferOf("some bytes"));
    BinaryData back;
    EXPECT_EQ(RK::DecodeBinaryDataFromUTF8String(Encoded(data), back), 0);
    EXPECT_EQ(TextOf(back.GetBuffer()), "some bytes");
    EXPECT_NE(back.GetBuffer()->Data(), data.GetBuffer()->Data());
}

TEST(BinaryData, EveryFormOfAnEmptyBlockComesBackAsANullPointer)
{
    for (const BinaryData& empty :
         {BinaryData(), BinaryData(boost::make_shared<qelcore::utility::RecycledMemory>()),
          BinaryData(BufferOf(""))})
    {
        BinaryData back(BufferOf("before"));
        EXPECT_EQ(RK::DecodeBinaryDataFromUTF8String(Encoded(empty), back), 0);
        EXPECT_EQ(back.GetBuffer(), nullptr);
    }
}

TEST(BinaryData, BadTextHasACodeOfItsOwnAndLeavesTheBlock)
{
    BinaryData data(BufferOf("before"));
    const auto before = data.GetBuffer();
    EXPECT_EQ(static_cast<std::uint32_t>(
                  RK::DecodeBinaryDataFromUTF8String(qelcore::ToUTF8String("no text"), data)),
              0xA0320066u);
    EXPECT_EQ(data.GetBuffer(), before);
}

TEST(BinaryData, ASwapExchangesThePointersAlone)
{
    const auto first = BufferOf("1"), second = BufferOf("2");
    BinaryData a(first), b(second);
    a.Swap(b);
    EXPECT_EQ(a.GetBuffer(), second);
    EXPECT_EQ(b.GetBuffer(), first);
    EXPECT_EQ(first.use_count(), 2);
}

} // namespace
