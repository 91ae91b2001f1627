#include <cstddef>

#include "HostFixture.h"

namespace
{

using Testing::HostFixture;

// The place of each function in its table is contract with what was compiled long ago.
struct BuiltInSuites : HostFixture
{
    void* const* Table(const char* inName, std::int32_t inVersion)
    {
        const void* table = nullptr;
        EXPECT_EQ(kMVNoError, MVBasicAcquireSuite(inName, inVersion, &table));
        EXPECT_NE(nullptr, table);
        EXPECT_EQ(kMVNoError, MVBasicReleaseSuite(inName, inVersion));
        return static_cast<void* const*>(table);
    }
};

#define RK_EXPECT_SLOT(Suite, table, slot, Name, function)                                         \
    static_assert(offsetof(Suite, Name) == 8 * (slot));                                            \
    EXPECT_EQ(reinterpret_cast<void*>(&function), (table)[slot]) << #function

TEST_F(BuiltInSuites, AccessSuiteIsInItsOrder)
{
    void* const* table = Table("MV Access Suite", 3);
    RK_EXPECT_SLOT(MVAccessSuite, table, 0, AcquirePlugin, MVAcquirePlugin);
    RK_EXPECT_SLOT(MVAccessSuite, table, 1, ReleasePlugin, MVReleasePlugin);
    RK_EXPECT_SLOT(MVAccessSuite, table, 2, GetPluginAccess, MVGetPluginAccess);
    RK_EXPECT_SLOT(MVAccessSuite, table, 3, GetAccessPlugin, MVGetAccessPlugin);
    RK_EXPECT_SLOT(MVAccessSuite, table, 4, GetAccessEntry, MVGetAccessEntry);
    RK_EXPECT_SLOT(MVAccessSuite, table, 5, GetAccessCount, MVGetAccessCount);
    RK_EXPECT_SLOT(MVAccessSuite, table, 6, GetAccessInfo, MVGetAccessInfo);
    RK_EXPECT_SLOT(MVAccessSuite, table, 7, GetPluginResourceAccess, MVGetPluginResourceAccess);
    RK_EXPECT_SLOT(MVAccessSuite, table, 8, SetPluginResourceAccess, MVSetPluginResourceAccess);
    RK_EXPECT_SLOT(MVAccessSuite, table, 9, CallPlugin, MVCallPlugin);
    RK_EXPECT_SLOT(MVAccessSuite, table, 10, GetCurrentPlugin, MVGetCurrentPlugin);
    RK_EXPECT_SLOT(MVAccessSuite, table, 11, SetCurrentPlugin, MVSetCurrentPlugin);
    static_assert(sizeof(MVAccessSuite) == 8 * 12);
}

TEST_F(BuiltInSuites, AdaptersSuiteIsInItsOrder)
{
    void* const* table = Table("MV Adapters Suite", 3);
    RK_EXPECT_SLOT(MVAdaptersSuite, table, 0, AllocateAdapterList, MVAllocateAdapterList);
    RK_EXPECT_SLOT(MVAdaptersSuite, table, 1, FreeAdapterList, MVFreeAdapterList);
    RK_EXPECT_SLOT(MVAdaptersSuite, table, 2, AddAdapter, MVAddAdapter);
    RK_EXPECT_SLOT(MVAdaptersSuite, table, 3, FindAdapter, MVFindAdapter);
    RK_EXPECT_SLOT(MVAdaptersSuite, table, 4, NewAdapterListIterator, MVNewAdapterListIterator);
    RK_EXPECT_SLOT(MVAdaptersSuite, table, 5, NextAdapter, MVNextAdapter);
    RK_EXPECT_SLOT(MVAdaptersSuite, table, 6, DeleteAdapterListIterator,
                   MVDeleteAdapterListIterator);
    RK_EXPECT_SLOT(MVAdaptersSuite, table, 7, GetAdapterHost, MVGetAdapterHost);
    RK_EXPECT_SLOT(MVAdaptersSuite, table, 8, GetAdapterName, MVGetAdapterName);
    RK_EXPECT_SLOT(MVAdaptersSuite, table, 9, GetAdapterVersion, MVGetAdapterVersion);
    static_assert(sizeof(MVAdaptersSuite) == 8 * 10);
}

TEST_F(BuiltInSuites, BasicSuiteIsInItsOrder)
{
    void* const* table = Table("MV Basic Suite", 4);
    RK_EXPECT_SLOT(MVBasicSuite, table, 0, AcquireSuite, MVBasicAcquireSuite);
    RK_EXPECT_SLOT(MVBasicSuite, table, 1, ReleaseSuite, MVBasicReleaseSuite);
    RK_EXPECT_SLOT(MVBasicSuite, table, 2, IsEqual, MVBasicIsEqual);
    RK_EXPECT_SLOT(MVBasicSuite, table, 3, AllocateBlock, MVBasicAllocateBlock);
    RK_EXPECT_SLOT(MVBasicSuite, table, 4, FreeBlock, MVBasicFreeBlock);
    RK_EXPECT_SLOT(MVBasicSuite, table, 5, ReallocateBlock, MVBasicReallocateBlock);
    RK_EXPECT_SLOT(MVBasicSuite, table, 6, Undefined, MVBasicUndefined);
    static_assert(sizeof(MVBasicSuite) == 8 * 7);
}

TEST_F(BuiltInSuites, BlocksSuiteIsInItsOrder)
{
    void* const* table = Table("MV Blocks Suite", 2);
    RK_EXPECT_SLOT(MVBlocksSuite, table, 0, AllocateBlock, MVAllocateBlock);
    RK_EXPECT_SLOT(MVBlocksSuite, table, 1, FreeBlock, MVFreeBlock);
    RK_EXPECT_SLOT(MVBlocksSuite, table, 2, ReallocateBlock, MVReallocateBlock);
    static_assert(sizeof(MVBlocksSuite) == 8 * 3);
}

TEST_F(BuiltInSuites, BlockDebugSuiteIsInItsOrder)
{
    void* const* table = Table("MV Block Debug Suite", 2);
    RK_EXPECT_SLOT(MVBlockDebugSuite, table, 0, GetBlockDebugEnabled, MVGetBlockDebugEnabled);
    RK_EXPECT_SLOT(MVBlockDebugSuite, table, 1, SetBlockDebugEnabled, MVSetBlockDebugEnabled);
    RK_EXPECT_SLOT(MVBlockDebugSuite, table, 2, GetFirstBlock, MVGetFirstBlock);
    RK_EXPECT_SLOT(MVBlockDebugSuite, table, 3, GetNextBlock, MVGetNextBlock);
    RK_EXPECT_SLOT(MVBlockDebugSuite, table, 4, GetBlockDebug, MVGetBlockDebug);
    static_assert(sizeof(MVBlockDebugSuite) == 8 * 5);
}

TEST_F(BuiltInSuites, CachesSuiteIsInItsOrder)
{
    void* const* table = Table("MV Caches Suite", 2);
    RK_EXPECT_SLOT(MVCachesSuite, table, 0, FlushCaches, MVFlushCaches);
    static_assert(sizeof(MVCachesSuite) == 8 * 1);
}

TEST_F(BuiltInSuites, InterfaceSuiteIsInItsOrder)
{
    void* const* table = Table("MV Interface Suite", 2);
    RK_EXPECT_SLOT(MVInterfaceSuite, table, 0, SendMessage, MVSendMessage);
    RK_EXPECT_SLOT(MVInterfaceSuite, table, 1, SetupMessageData, MVSetupMessageData);
    RK_EXPECT_SLOT(MVInterfaceSuite, table, 2, EmptyMessageData, MVEmptyMessageData);
    RK_EXPECT_SLOT(MVInterfaceSuite, table, 3, StartupExport, MVStartupExport);
    static_assert(sizeof(MVInterfaceSuite) == 8 * 4);
}

TEST_F(BuiltInSuites, PluginsSuiteIsInItsOrderInBothVersions)
{
    void* const* table = Table("MV Plug-ins Suite", 5);
    EXPECT_EQ(table, Table("MV Plug-ins Suite", 4));
    RK_EXPECT_SLOT(MVPluginsSuite, table, 0, AllocatePluginList, MVAllocatePluginList);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 1, FreePluginList, MVFreePluginList);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 2, AddPlugin, MVAddPlugin);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 3, NewPluginListIterator, MVNewPluginListIterator);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 4, NextPlugin, MVNextPlugin);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 5, DeletePluginListIterator, MVDeletePluginListIterator);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 6, GetPluginListNeededSuiteAvailable,
                   MVGetPluginListNeededSuiteAvailable);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 7, GetHostPluginEntry, MVGetHostPluginEntry);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 8, GetPluginFileSpecification,
                   MVGetPluginFileSpecification);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 9, GetPluginPropertyList, MVGetPluginPropertyList);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 10, GetPluginGlobals, MVGetPluginGlobals);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 11, SetPluginGlobals, MVSetPluginGlobals);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 12, GetPluginStarted, MVGetPluginStarted);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 13, SetPluginStarted, MVSetPluginStarted);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 14, GetPluginSkipShutdown, MVGetPluginSkipShutdown);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 15, SetPluginSkipShutdown, MVSetPluginSkipShutdown);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 16, GetPluginBroken, MVGetPluginBroken);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 17, SetPluginBroken, MVSetPluginBroken);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 18, GetPluginAdapter, MVGetPluginAdapter);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 19, GetPluginAdapterInfo, MVGetPluginAdapterInfo);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 20, SetPluginAdapterInfo, MVSetPluginAdapterInfo);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 21, FindPluginProperty, MVFindPluginProperty);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 22, GetPluginName, MVGetPluginName);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 23, SetPluginName, MVSetPluginName);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 24, GetNamedPlugin, MVGetNamedPlugin);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 25, SetPluginPropertyList, MVSetPluginPropertyList);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 26, GetPluginHostInfo, MVGetPluginHostInfo);
    RK_EXPECT_SLOT(MVPluginsSuite, table, 27, SetPluginHostInfo, MVSetPluginHostInfo);
    static_assert(sizeof(MVPluginsSuite) == 8 * 28);
}

TEST_F(BuiltInSuites, PropertiesSuiteIsInItsOrderInBothVersions)
{
    void* const* table = Table("MV Properties Suite", 3);
    EXPECT_EQ(table, Table("MV Properties Suite", 2));
    RK_EXPECT_SLOT(MVPropertiesSuite, table, 0, AllocatePropertyList, MVAllocatePropertyList);
    RK_EXPECT_SLOT(MVPropertiesSuite, table, 1, FreePropertyList, MVFreePropertyList);
    RK_EXPECT_SLOT(MVPropertiesSuite, table, 2, AddProperties, MVAddProperties);
    RK_EXPECT_SLOT(MVPropertiesSuite, table, 3, AddProperty, MVAddProperty);
    RK_EXPECT_SLOT(MVPropertiesSuite, table, 4, FindProperty, MVFindProperty);
    RK_EXPECT_SLOT(MVPropertiesSuite, table, 5, NewPropertyListIterator, MVNewPropertyListIterator);
    RK_EXPECT_SLOT(MVPropertiesSuite, table, 6, NextProperty, MVNextProperty);
    RK_EXPECT_SLOT(MVPropertiesSuite, table, 7, DeletePropertyListIterator,
                   MVDeletePropertyListIterator);
    RK_EXPECT_SLOT(MVPropertiesSuite, table, 8, GetPropertyPIProperty, MVGetPropertyPIProperty);
    RK_EXPECT_SLOT(MVPropertiesSuite, table, 9, GetPropertyRefCon, MVGetPropertyRefCon);
    RK_EXPECT_SLOT(MVPropertiesSuite, table, 10, GetPropertyCacheable, MVGetPropertyCacheable);
    RK_EXPECT_SLOT(MVPropertiesSuite, table, 11, GetPropertyAllocatedByPlugin,
                   MVGetPropertyAllocatedByPlugin);
    RK_EXPECT_SLOT(MVPropertiesSuite, table, 12, HasMultiplePropertyLists,
                   MVHasMultiplePropertyLists);
    RK_EXPECT_SLOT(MVPropertiesSuite, table, 13, GetNextPropertyList, MVGetNextPropertyList);
    RK_EXPECT_SLOT(MVPropertiesSuite, table, 14, FindPropertyLocal, MVFindPropertyLocal);
    static_assert(sizeof(MVPropertiesSuite) == 8 * 15);
}

TEST_F(BuiltInSuites, RuntimeSuiteIsInItsOrder)
{
    void* const* table = Table("MV Runtime Suite", 5);
    RK_EXPECT_SLOT(MVRuntimeSuite, table, 0, GetRuntimeStringPool, MVGetRuntimeStringPool);
    RK_EXPECT_SLOT(MVRuntimeSuite, table, 1, GetRuntimeSuiteList, MVGetRuntimeSuiteList);
    RK_EXPECT_SLOT(MVRuntimeSuite, table, 2, GetRuntimeFileList, MVGetRuntimeFileList);
    RK_EXPECT_SLOT(MVRuntimeSuite, table, 3, GetRuntimePluginList, MVGetRuntimePluginList);
    RK_EXPECT_SLOT(MVRuntimeSuite, table, 4, GetRuntimeAdapterList, MVGetRuntimeAdapterList);
    RK_EXPECT_SLOT(MVRuntimeSuite, table, 5, GetRuntimeHostProcs, MVGetRuntimeHostProcs);
    RK_EXPECT_SLOT(MVRuntimeSuite, table, 6, GetRuntimePluginsFolder, MVGetRuntimePluginsFolder);
    RK_EXPECT_SLOT(MVRuntimeSuite, table, 7, GetRuntimeHostFileSpec, MVGetRuntimeHostFileSpec);
    static_assert(sizeof(MVRuntimeSuite) == 8 * 8);
}

TEST_F(BuiltInSuites, StringsSuiteIsInItsOrder)
{
    void* const* table = Table("MV Strings Suite", 2);
    RK_EXPECT_SLOT(MVStringsSuite, table, 0, AllocateStringPool, MVAllocateStringPool);
    RK_EXPECT_SLOT(MVStringsSuite, table, 1, FreeStringPool, MVFreeStringPool);
    RK_EXPECT_SLOT(MVStringsSuite, table, 2, MakeWString, MVMakeWString);
    static_assert(sizeof(MVStringsSuite) == 8 * 3);
}

TEST_F(BuiltInSuites, SuitesSuiteIsInItsOrder)
{
    void* const* table = Table("MV Suites Suite", 2);
    RK_EXPECT_SLOT(MVSuitesSuite, table, 0, AllocateSuiteList, MVAllocateSuiteList);
    RK_EXPECT_SLOT(MVSuitesSuite, table, 1, FreeSuiteList, MVFreeSuiteList);
    RK_EXPECT_SLOT(MVSuitesSuite, table, 2, AddSuite, MVAddSuite);
    RK_EXPECT_SLOT(MVSuitesSuite, table, 3, AcquireSuite, MVAcquireSuite);
    RK_EXPECT_SLOT(MVSuitesSuite, table, 4, ReleaseSuite, MVReleaseSuite);
    RK_EXPECT_SLOT(MVSuitesSuite, table, 5, FindSuite, MVFindSuite);
    RK_EXPECT_SLOT(MVSuitesSuite, table, 6, NewSuiteListIterator, MVNewSuiteListIterator);
    RK_EXPECT_SLOT(MVSuitesSuite, table, 7, NextSuite, MVNextSuite);
    RK_EXPECT_SLOT(MVSuitesSuite, table, 8, DeleteSuiteListIterator, MVDeleteSuiteListIterator);
    RK_EXPECT_SLOT(MVSuitesSuite, table, 9, GetSuiteHost, MVGetSuiteHost);
    RK_EXPECT_SLOT(MVSuitesSuite, table, 10, GetSuiteName, MVGetSuiteName);
    RK_EXPECT_SLOT(MVSuitesSuite, table, 11, GetSuiteAPIVersion, MVGetSuiteAPIVersion);
    RK_EXPECT_SLOT(MVSuitesSuite, table, 12, GetSuiteInternalVersion, MVGetSuiteInternalVersion);
    RK_EXPECT_SLOT(MVSuitesSuite, table, 13, GetSuiteProcs, MVGetSuiteProcs);
    RK_EXPECT_SLOT(MVSuitesSuite, table, 14, GetSuiteAcquireCount, MVGetSuiteAcquireCount);
    static_assert(sizeof(MVSuitesSuite) == 8 * 15);
}

TEST_F(BuiltInSuites, AreOfTheFirstInternalVersionAndOfNoPlugin)
{
    MVSuite* suite = nullptr;
    ASSERT_EQ(kMVNoError, MVFindSuite(nullptr, kMVStringsSuite, kMVStringsSuiteVersion, 0, &suite));
    std::int32_t version = 0;
    MVPlugin* plugin = nullptr;
    EXPECT_EQ(kMVNoError, MVGetSuiteInternalVersion(suite, &version));
    EXPECT_EQ(kMVNoError, MVGetSuiteHost(suite, &plugin));
    EXPECT_EQ(1, version);
    EXPECT_EQ(nullptr, plugin);
}

} // namespace
