#pragma once

// For tests that reach what is hidden in the host.

#include "HostFixture.h"
#include "MVBlocks.h"
#include "MVHost.h"

namespace Testing
{

/// Puts an Application's table in without bringing the host up, and takes everything back.
class HostProcsFixture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        app.Reset();
        mvFillHostProcs(app.procs);
        gMVHostProcs = &app.procs;
        numBlocks = 0;
        blockDebug = 0;
    }
    void TearDown() override
    {
        EXPECT_EQ(0u, app.blocks.size() + app.internalBlocks.size());
        gMVHostProcs = &gMVDefaultHostProcs;
        numBlocks = 0;
        blockDebug = 0;
        firstBlock = nullptr;
    }

    Application& app = Application::Current();
};

/// The host up, with a look at its count of blocks as well.
class HostInternalsFixture : public HostFixture
{
protected:
    using HostFixture::HostFixture;

    void SetUp() override
    {
        numBlocks = 0;
        blockDebug = 0;
        firstBlock = nullptr;
        HostFixture::SetUp();
    }
    void TearDown() override
    {
        HostFixture::TearDown();
        EXPECT_EQ(static_cast<std::int32_t>(expectedLeft), numBlocks);
        blockDebug = 0;
    }
};

} // namespace Testing
