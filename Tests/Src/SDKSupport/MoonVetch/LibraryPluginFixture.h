#pragma once

#include <cstdint>

#include <gtest/gtest.h>

#include "RiverKit/MoonVetch/Host.h"
#include "RiverKit/RKInitializer.h"
#include "RiverKit/RKPluginSupport.h"

namespace Testing
{

/// The library is started, and has published a suite.
class LibraryPluginTest : public ::testing::Test
{
protected:
    static constexpr char kSuite[] = "Test Suite";

    LibraryPluginTest() { EXPECT_EQ(kMVNoError, RK::RegisterSuite(kSuite, 3, &mTable)); }

    static const MVBasicSuite& Basic() { return *RK::GetMVBasicSuite(); }
    static MVSuite* SuiteOf(const char* inName, std::int32_t inVersion)
    {
        MVSuite* suite = nullptr;
        EXPECT_EQ(kMVNoError, MVFindSuite(nullptr, inName, inVersion, 1, &suite));
        return suite;
    }
    static std::int32_t AcquireCount(const char* inName, std::int32_t inVersion)
    {
        std::int32_t count = -1;
        EXPECT_EQ(kMVNoError, MVGetSuiteAcquireCount(SuiteOf(inName, inVersion), &count));
        return count;
    }
    /// The one that stands for the library.
    static MVPlugin* LibraryPlugin()
    {
        MVPlugin* plugin = nullptr;
        EXPECT_EQ(kMVNoError, MVGetSuiteHost(SuiteOf(kSuite, 3), &plugin));
        return plugin;
    }
    static MVPluginEntry LibraryEntry()
    {
        MVPluginEntry entry = nullptr;
        EXPECT_EQ(kMVNoError, MVGetHostPluginEntry(LibraryPlugin(), &entry));
        return entry;
    }
    /// Has the library's plug-in take another basic suite for the host's; the host's again at the end.
    class OtherBasicSuite
    {
    public:
        explicit OtherBasicSuite(const MVBasicSuite& inBasic)
        {
            MVMessageData message = {};
            MVSetupMessageData(LibraryPlugin(), &message);
            mBefore = message.basic;
            Set(&inBasic);
        }
        ~OtherBasicSuite() { Set(mBefore); }
        OtherBasicSuite(const OtherBasicSuite&) = delete;
        OtherBasicSuite& operator=(const OtherBasicSuite&) = delete;

    private:
        static void Set(const MVBasicSuite* inBasic)
        {
            MVMessageData message = {};
            message.basic = inBasic;
            EXPECT_EQ(kMVNoError,
                      LibraryEntry()(kMVInterfaceCaller, kMVInterfaceStartupSelector, &message));
        }
        const MVBasicSuite* mBefore = nullptr;
    };

    const RK::Initializer mLibrary;
    int mTable = 0;
};

} // namespace Testing
