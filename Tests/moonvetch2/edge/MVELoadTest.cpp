#include "edge/MVELoad.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MoonVetch/Host.h"
#include "Support/TraceCapture.h"

namespace
{

TEST(LoadFailure, IsKeptUntilCodeIsLoadedAgain)
{
    mvSetLoadFailure("/a.so: damaged");
    EXPECT_STREQ("/a.so: damaged", MVGetLoadFailureText());
    mvSetLoadFailure("/b.so: no");
    EXPECT_STREQ("/b.so: no", MVGetLoadFailureText());
    mvClearLoadFailure();
    EXPECT_STREQ("", MVGetLoadFailureText());
}

TEST(LoadFailure, IsTracedAtOnce)
{
    Testing::TraceCapture trace("PluginHost");
    mvSetLoadFailure("/a.so: damaged");
    EXPECT_THAT(trace.Texts(), testing::ElementsAre("/a.so: damaged"));
    mvClearLoadFailure();
}

TEST(LoadFailure, ALongOneIsCut)
{
    mvSetLoadFailure(std::string(5000, 'x').c_str());
    EXPECT_EQ(1023u, std::string(MVGetLoadFailureText()).size());
    mvClearLoadFailure();
}

} // namespace
