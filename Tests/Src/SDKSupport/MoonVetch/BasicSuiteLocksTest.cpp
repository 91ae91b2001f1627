// The names under which the basic suite for any thread locks.
#include <string>

#include "LibraryPluginFixture.h"
#include "SDKSupport/MoonVetch.h"
#include "qelcore/RecursiveMutex.h"

namespace
{

using BasicSuiteLocks = Testing::LibraryPluginTest;

std::string sTag;

MVResult Note()
{
    const char* const tag = RK::SDKSupport::BasicSuiteLock().HolderTag();
    sTag = tag != nullptr ? tag : "";
    return kMVNoError;
}

const MVBasicSuite kNoting = {[](const char*, std::int32_t, const void**) { return Note(); },
                              [](const char*, std::int32_t) { return Note(); },
                              [](const char*, const char*) { return Note(); },
                              [](std::size_t, void**) { return Note(); },
                              [](void*) { return Note(); },
                              [](void*, std::size_t, void**) { return Note(); },
                              &Note};

TEST_F(BasicSuiteLocks, EachFunctionLocksUnderItsName)
{
    const OtherBasicSuite noting(kNoting);
    const MVBasicSuite& basic = Basic();
    basic.AcquireSuite("", 1, nullptr);
    EXPECT_EQ("MTBasicAcquireSuite", sTag);
    basic.ReleaseSuite("", 1);
    EXPECT_EQ("MTBasicReleaseSuite", sTag);
    basic.IsEqual("", "");
    EXPECT_EQ("MTBasicIsEqual", sTag);
    basic.AllocateBlock(1, nullptr);
    EXPECT_EQ("MTBasicAllocateBlock", sTag);
    basic.FreeBlock(nullptr);
    EXPECT_EQ("MTBasicFreeBlock", sTag);
    basic.ReallocateBlock(nullptr, 1, nullptr);
    EXPECT_EQ("MTBasicReallocateBlock", sTag);
    basic.Undefined();
    EXPECT_EQ("MTBasicUndefined", sTag);
    EXPECT_EQ(nullptr, RK::SDKSupport::BasicSuiteLock().HolderTag());
}

} // namespace
