#include "qelcore/ClientName.h"

#include <gtest/gtest.h>

namespace
{

using qelcore::config::GetClientName;
using qelcore::config::SetClientName;

TEST(ClientName, IsTheProgramsFileNameUntilOneIsSet)
{
    EXPECT_EQ(u"qelcore_config_tests", GetClientName());
}

TEST(ClientName, IsTheOneThatWasSetUntilAnEmptyOneIs)
{
    SetClientName(u"Cutting Room \u00E9");
    EXPECT_EQ(u"Cutting Room \u00E9", GetClientName());
    SetClientName(u"");
    EXPECT_EQ(u"qelcore_config_tests", GetClientName());
}

} // namespace
