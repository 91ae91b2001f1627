#include <string>

#include <gtest/gtest.h>

#include "Support/Sanitizers.h"
#include "qelcore/Serialization.h"

// Text that is large, which a client may be handed from outside.
namespace
{

using namespace qelcore::serialization;
using qelcore::ToUTF8String;
using qelcore::UTF8String;

// 100 MB, and less where each byte costs a multiple.
constexpr std::size_t kLength = RK_TEST_SANITIZER ? 10u << 20 : 100u << 20;

TEST(LargeJSON, AStringOf100MBIsRead)
{
    const Variant value = JSONParse(ToUTF8String('"' + std::string(kLength, 'x') + '"'));
    ASSERT_TRUE(value);
    EXPECT_EQ(kLength, boost::any_cast<const UTF8String&>(*value).size());
}

TEST(LargeJSON, ANestOf100MBIsRefused)
{
    EXPECT_FALSE(JSONParse(ToUTF8String(std::string(kLength, '['))));
    std::string text;
    while (text.size() < 10u << 20)
        text += "{\"a\":";
    EXPECT_FALSE(JSONParse(ToUTF8String(text)));
}

TEST(LargeJSON, AsManyValuesAsTheLimitAreReadAndOneMoreIsNot)
{
    const auto zeros = [](std::size_t inCount)
    {
        std::string text = "[0";
        for (std::size_t i = 1; i < inCount; ++i)
            text += ",0";
        return ToUTF8String(text + "]");
    };
    EXPECT_TRUE(JSONParse(zeros(kMaxJSONValues - 1))); // the array is one too
    EXPECT_FALSE(JSONParse(zeros(kMaxJSONValues)));
}

TEST(LargeJSON, ANumberOfAMillionDigitsIsANumberOrRefused)
{
    EXPECT_FALSE(JSONParse(ToUTF8String(std::string(1000000, '9'))));
    const Variant fraction = JSONParse(ToUTF8String("0." + std::string(1000000, '9')));
    ASSERT_TRUE(fraction);
    EXPECT_EQ(1.0, boost::any_cast<double>(*fraction));
}

} // namespace
