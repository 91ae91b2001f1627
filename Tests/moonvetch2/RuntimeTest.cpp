#include <cstring>

#include "HostFixture.h"

namespace
{

using ::testing::ElementsAre;
using Testing::HostFixture;

struct Runtime : HostFixture
{
};

TEST_F(Runtime, GivesWhatTheHostWorksWith)
{
    MVHostProcs* procs = nullptr;
    MVStringPool* pool = nullptr;
    MVSuiteList* suites = nullptr;
    MVPluginList* plugins = nullptr;
    MVAdapterList* adapters = nullptr;

    EXPECT_EQ(kMVNoError, MVGetRuntimeHostProcs(&procs));
    EXPECT_EQ(kMVNoError, MVGetRuntimeStringPool(&pool));
    EXPECT_EQ(kMVNoError, MVGetRuntimeSuiteList(&suites));
    EXPECT_EQ(kMVNoError, MVGetRuntimePluginList(&plugins));
    EXPECT_EQ(kMVNoError, MVGetRuntimeAdapterList(&adapters));

    EXPECT_EQ(&app.procs, procs);
    MVWString byName = nullptr;
    MVWString byPool = nullptr;
    MVMakeWString(nullptr, "text", &byName);
    MVMakeWString(pool, "text", &byPool);
    EXPECT_EQ(byName, byPool);
    MVSuite* suite = nullptr;
    MVFindSuite(suites, kMVBasicSuite, kMVBasicSuiteVersion, 0, &suite);
    EXPECT_NE(nullptr, suite);
    MVAdapter* adapter = nullptr;
    MVFindAdapter(adapters, kMVMoonVetch2Adapter, &adapter);
    EXPECT_NE(nullptr, adapter);
    EXPECT_NE(nullptr, plugins);
}

TEST_F(Runtime, NeedsAPlaceForTheAnswer)
{
    EXPECT_EQ(kMVBadParameterError, MVGetRuntimeHostProcs(nullptr));
    EXPECT_EQ(kMVBadParameterError, MVGetRuntimeStringPool(nullptr));
    EXPECT_EQ(kMVBadParameterError, MVGetRuntimePluginsFolder(nullptr));
    EXPECT_EQ(kMVBadParameterError, MVGetRuntimeHostFileSpec(nullptr));
}

TEST_F(Runtime, HasNoListOfFiles)
{
    void* list = &list;
    app.thrown.clear();

    EXPECT_EQ(kMVNotImplementedError, MVGetRuntimeFileList(&list));

    EXPECT_EQ(nullptr, list);
    EXPECT_THAT(app.thrown, ElementsAre(kMVNotImplementedError));
}

TEST_F(Runtime, KeepsTheFolderOfPluginsByteForByte)
{
    MVFileSpecification folder = {};
    std::memset(&folder, 0x5A, sizeof folder);
    MVSetRuntimePluginsFolder(&folder);
    MVSetRuntimePluginsFolder(nullptr); // changes nothing
    MVFileSpecification kept = {};

    EXPECT_EQ(kMVNoError, MVGetRuntimePluginsFolder(&kept));

    EXPECT_EQ(0, std::memcmp(&folder, &kept, sizeof folder));
    folder = {};
    MVSetRuntimePluginsFolder(&folder);
}

TEST_F(Runtime, TakesTheRunningProgramForTheHostUntilABundleIsNamed)
{
    MVFileSpecification file = {};
    EXPECT_EQ(kMVNoError, MVGetRuntimeHostFileSpec(&file));
    EXPECT_THAT(std::string(file.path), ::testing::HasSubstr("PluginHostTests"));

    MVURL* bundle = MVCreateURL("/somewhere/Host.bundle");
    EXPECT_EQ(kMVNoError, MVSetHostBundleRef(bundle));
    EXPECT_EQ(kMVNoError, MVGetRuntimeHostFileSpec(&file));
    EXPECT_STREQ("/somewhere/Host.bundle", file.path);

    EXPECT_EQ(kMVNoError, MVSetHostBundleRef(nullptr));
    MVReleaseURL(bundle);
}

} // namespace
