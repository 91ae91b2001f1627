#include "qelcore/Locale.h"

#include <clocale>

#include <gtest/gtest.h>

namespace
{

using qelcore::Locale;

TEST(Locale, MarksTheTenAsciiDigitsAndNothingElseAsDigits)
{
    for (int unit = 0; unit < 0x10000; ++unit)
        ASSERT_EQ(unit >= '0' && unit <= '9',
                  Locale::Default().IsDigit(static_cast<char16_t>(unit)))
            << std::hex << unit;
}

TEST(Locale, IsTheSameWhateverTheProcessSets)
{
    const std::string before = std::setlocale(LC_ALL, nullptr);
    std::setlocale(LC_ALL, "C.UTF-8");
    EXPECT_FALSE(Locale::Default().IsDigit(u'\u00B2'));
    EXPECT_TRUE(Locale::Default().IsDigit(u'7'));
    std::setlocale(LC_ALL, before.c_str());
}

} // namespace
