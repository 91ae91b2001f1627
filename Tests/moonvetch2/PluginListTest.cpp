// The plug-ins that are listed, as the public functions show them.
#include "HostFixture.h"
#include "PropertyBytes.h"

namespace Testing
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StrEq;

class PluginListTest : public HostFixture
{
protected:
    MVPlugin* Add(const char* inPath, const std::vector<std::string>& inRecords = {})
    {
        AlignedBytes bytes(ListBytes(inRecords));
        MVPlugin* plugin = nullptr;
        EXPECT_EQ(kMVNoError, MVAddPlugin(nullptr, inPath, bytes.List(), kMVMoonVetch2Adapter,
                                          nullptr, &plugin));
        return plugin;
    }
    static MVWString NameOf(MVPlugin* inPlugin)
    {
        MVWString name = nullptr;
        EXPECT_EQ(kMVNoError, MVGetPluginName(inPlugin, &name));
        return name;
    }
    static std::vector<MVPlugin*> Listed(MVPluginList* inList = nullptr)
    {
        std::vector<MVPlugin*> plugins;
        MVPluginListIterator* iterator = nullptr;
        EXPECT_EQ(kMVNoError, MVNewPluginListIterator(inList, &iterator));
        MVPlugin* plugin = nullptr;
        while (MVNextPlugin(iterator, &plugin) == kMVNoError && plugin != nullptr)
            plugins.push_back(plugin);
        EXPECT_EQ(kMVNoError, MVDeletePluginListIterator(iterator));
        return plugins;
    }
};

TEST_F(PluginListTest, TheNewestPluginStandsFirst)
{
    MVPlugin* one = Add("/plug-ins/one.so");
    MVPlugin* two = Add("/plug-ins/two.so");
    const std::vector<MVPlugin*> listed = Listed();
    ASSERT_EQ(3u, listed.size());
    EXPECT_EQ(two, listed[0]);
    EXPECT_EQ(one, listed[1]);
}

TEST_F(PluginListTest, TheNameIsWhatThePropertiesSay)
{
    EXPECT_THAT(NameOf(Add("/a.so", {RecordBytes(kMVProperty_Name, std::string("Blur\0", 5))})),
                StrEq("Blur"));
    EXPECT_EQ(nullptr, NameOf(Add("/b.so")));
}

TEST_F(PluginListTest, ANameWithoutItsEndIsCutWhereItsPropertyEnds)
{
    EXPECT_THAT(NameOf(Add("/a.so", {RecordBytes(kMVProperty_Name, "Blur"),
                                     RecordBytes(kMVProperty_StartsEarly, "xxxx")})),
                StrEq("Blur"));
    EXPECT_EQ(nullptr, NameOf(Add("/b.so", {RecordBytes(kMVProperty_Name, "")})));
}

TEST_F(PluginListTest, APluginOfAnUnknownAdapterIsRefused)
{
    MVPlugin* plugin = reinterpret_cast<MVPlugin*>(this);
    EXPECT_EQ(kMVAdapterNotFoundError,
              MVAddPlugin(nullptr, "/a.so", nullptr, "No such adapter", nullptr, &plugin));
    EXPECT_EQ(nullptr, plugin);
    EXPECT_EQ(kMVAdapterNotFoundError,
              MVAddPlugin(nullptr, "/a.so", nullptr, nullptr, nullptr, &plugin));
    EXPECT_THAT(app.thrown, ElementsAre(kMVAdapterNotFoundError, kMVAdapterNotFoundError));
    EXPECT_EQ(1u, Listed().size());
}

TEST_F(PluginListTest, WhatIsNoPlaceIsRefused)
{
    MVPlugin* plugin = reinterpret_cast<MVPlugin*>(this);
    EXPECT_EQ(kMVPluginNotFoundError, MVAddPlugin(nullptr, "beside/me.so", nullptr,
                                                  kMVMoonVetch2Adapter, nullptr, &plugin));
    EXPECT_EQ(nullptr, plugin);
    EXPECT_EQ(1u, Listed().size());
}

TEST_F(PluginListTest, APluginThatCannotBeListedLeavesNoBlock)
{
    const std::size_t before = app.internalBlocks.size();
    AlignedBytes bytes(ListBytes({RecordBytes(kMVProperty_Name, "Blur")}));
    for (int allocations = 0; allocations < 5; ++allocations)
    {
        MVPlugin* plugin = nullptr;
        app.allocationsLeft = allocations;
        const MVResult result =
            MVAddPlugin(nullptr, "/a.so", bytes.List(), kMVMoonVetch2Adapter, nullptr, &plugin);
        app.allocationsLeft = -1;
        EXPECT_EQ(kMVOutOfMemoryError, result) << allocations;
        EXPECT_EQ(nullptr, plugin);
        EXPECT_EQ(before, app.internalBlocks.size());
        EXPECT_EQ(1u, Listed().size());
    }
}

TEST_F(PluginListTest, AHostPluginIsAskedForItsExports)
{
    AlignedBytes exports(RecordBytes(kMVProperty_Exports, ExportsData({{"Suite", 1}})));
    std::vector<std::uint32_t> asked;
    ScriptedPlugin& plugin = AddScripted(
        "Exporter",
        [&](const std::string& inCaller, const std::string& inSelector, void* ioMessage)
        {
            if (inCaller != kMVPropertiesCaller || inSelector != kMVPropertiesAcquireSelector)
                return kMVNoError;
            auto* message = static_cast<MVPropertiesMessage*>(ioMessage);
            asked = {message->vendorID, message->propertyKey, message->propertyID};
            message->property = exports.Property();
            message->refCon = 11;
            message->cacheable = 1;
            return kMVNoError;
        });
    EXPECT_THAT(asked, ElementsAre(kMVVendorID, kMVProperty_Exports, 0u));
    EXPECT_THAT(plugin.heard, ElementsAre("MV Access: Reload", "MV Properties: Acquire",
                                          "MV Properties: Release"));
    MVPropertyList* list = nullptr;
    ASSERT_EQ(kMVNoError, MVGetPluginPropertyList(plugin.plugin, &list));
    MVProperty* property = nullptr;
    ASSERT_EQ(kMVNoError, MVFindProperty(list, kMVVendorID, kMVProperty_Exports, 0, &property));
    ASSERT_NE(nullptr, property);
    std::int32_t refCon = 0;
    EXPECT_EQ(kMVNoError, MVGetPropertyRefCon(property, &refCon));
    EXPECT_EQ(11, refCon);
}

TEST_F(PluginListTest, AHostPluginThatDoesNotAnswerIsListedWithoutExports)
{
    ScriptedPlugin& plugin = AddScripted("Silent");
    EXPECT_THAT(plugin.heard, ElementsAre("MV Access: Reload", "MV Properties: Acquire"));
    PIProperty* property = nullptr;
    EXPECT_EQ(kMVNoError,
              MVFindPluginProperty(plugin.plugin, kMVVendorID, kMVProperty_Exports, 0, &property));
    EXPECT_EQ(nullptr, property);
}

TEST_F(PluginListTest, AHostPluginThatAnswersNothingIsNotAskedAgain)
{
    ScriptedPlugin& plugin = AddScripted("Empty", [](auto&&...) { return MVResult{kMVNoError}; });
    plugin.heard.clear();
    PIProperty* property = nullptr;
    EXPECT_EQ(kMVNoError,
              MVFindPluginProperty(plugin.plugin, kMVVendorID, kMVProperty_Exports, 0, &property));
    EXPECT_EQ(nullptr, property);
    EXPECT_THAT(plugin.heard, IsEmpty());
}

TEST_F(PluginListTest, APluginThatMayNotBeAskedHasOnlyWhatItDeclares)
{
    PIProperty* property = nullptr;
    MVPlugin* plugin = Add("/a.so", {RecordBytes(0x61626364, "data"),
                                     RecordBytes(kMVProperty_Capabilities, std::string(1, 2))});
    EXPECT_EQ(kMVNoError, MVFindPluginProperty(plugin, kMVVendorID, 0x61626364, 0, &property));
    ASSERT_NE(nullptr, property);
    EXPECT_EQ(4u, property->propertyLength);
    EXPECT_EQ(kMVNoError, MVFindPluginProperty(plugin, kMVVendorID, 0x65666768, 0, &property));
    EXPECT_EQ(nullptr, property);
}

TEST_F(PluginListTest, WhatAPluginAnswersWhenAskedIsKept)
{
    AlignedBytes record(RecordBytes(0x61626364, "data"));
    ScriptedPlugin& plugin = AddScripted("Asked");
    plugin.answer = [&](const std::string&, const std::string& inSelector, void* ioMessage)
    {
        if (inSelector == kMVPropertiesAcquireSelector)
            static_cast<MVPropertiesMessage*>(ioMessage)->property = record.Property();
        return kMVNoError;
    };
    plugin.heard.clear();
    for (int round = 0; round < 2; ++round)
    {
        PIProperty* property = nullptr;
        EXPECT_EQ(kMVNoError,
                  MVFindPluginProperty(plugin.plugin, kMVVendorID, 0x61626364, 0, &property));
        ASSERT_NE(nullptr, property);
        EXPECT_NE(record.Property(), property);
        EXPECT_EQ(4u, property->propertyLength);
    }
    EXPECT_THAT(plugin.heard, ElementsAre("MV Properties: Acquire", "MV Properties: Release"));
}

TEST_F(PluginListTest, AnAnswerThatIsAnErrorIsReleasedAndGivesNothing)
{
    ScriptedPlugin& plugin = AddScripted("Asked");
    plugin.heard.clear();
    PIProperty* property = nullptr;
    EXPECT_EQ(kMVNoError,
              MVFindPluginProperty(plugin.plugin, kMVVendorID, 0x61626364, 0, &property));
    EXPECT_EQ(nullptr, property);
    EXPECT_THAT(plugin.heard, ElementsAre("MV Properties: Acquire", "MV Properties: Release"));
}

TEST_F(PluginListTest, AnIteratorIsOfNoUseOnceAPluginHasCome)
{
    MVPluginListIterator* iterator = nullptr;
    ASSERT_EQ(kMVNoError, MVNewPluginListIterator(nullptr, &iterator));
    Add("/a.so");
    MVPlugin* plugin = reinterpret_cast<MVPlugin*>(this);
    EXPECT_EQ(kMVBadPluginListIteratorError, MVNextPlugin(iterator, &plugin));
    EXPECT_EQ(nullptr, plugin);
    EXPECT_THAT(app.thrown, ElementsAre(kMVBadPluginListIteratorError));
    EXPECT_EQ(kMVNoError, MVDeletePluginListIterator(iterator));
}

TEST_F(PluginListTest, ANeededSuiteIsAnnouncedOnce)
{
    const void* procs = nullptr;
    MVSuite* suite = nullptr;
    std::int32_t available = -1;
    EXPECT_EQ(kMVSuiteNotFoundError, MVAcquireSuite(nullptr, "Wanted", 1, 0, &procs));
    EXPECT_EQ(kMVNoError, MVGetPluginListNeededSuiteAvailable(nullptr, &available));
    EXPECT_EQ(0, available);
    EXPECT_EQ(kMVNoError, MVAddSuite(nullptr, nullptr, "Wanted", 1, 1, this, &suite));
    EXPECT_EQ(kMVNoError, MVGetPluginListNeededSuiteAvailable(nullptr, &available));
    EXPECT_EQ(1, available);
    EXPECT_EQ(kMVNoError, MVGetPluginListNeededSuiteAvailable(nullptr, &available));
    EXPECT_EQ(0, available);
}

TEST_F(PluginListTest, AnUnknownNameIsAnswered_AndNotThrown)
{
    MVPlugin* plugin = reinterpret_cast<MVPlugin*>(this);
    EXPECT_EQ(kMVPluginNotFoundError, MVGetNamedPlugin("Nobody", &plugin));
    EXPECT_EQ(nullptr, plugin);
    EXPECT_EQ(kMVPluginNotFoundError, MVGetNamedPlugin(nullptr, &plugin));
    EXPECT_THAT(app.thrown, IsEmpty());
}

TEST_F(PluginListTest, APluginIsFoundByItsName)
{
    MVPlugin* plugin = nullptr;
    ScriptedPlugin& scripted = AddScripted("Somebody");
    EXPECT_EQ(kMVNoError, MVGetNamedPlugin("Somebody", &plugin));
    EXPECT_EQ(scripted.plugin, plugin);
    EXPECT_EQ(kMVNoError, MVSetPluginName(plugin, "Somebody else"));
    EXPECT_EQ(kMVPluginNotFoundError, MVGetNamedPlugin("Somebody", &plugin));
    EXPECT_EQ(kMVNoError, MVGetNamedPlugin("Moon Vetch 2 Adapter Plugin", &plugin));
}

TEST_F(PluginListTest, FieldsReadAsTheyWereWritten)
{
    MVPlugin* plugin = Add("/a.so");
    void* read = nullptr;
    EXPECT_EQ(kMVNoError, MVSetPluginGlobals(plugin, &read));
    EXPECT_EQ(kMVNoError, MVGetPluginGlobals(plugin, &read));
    EXPECT_EQ(&read, read);
    EXPECT_EQ(kMVNoError, MVSetPluginHostInfo(plugin, this));
    EXPECT_EQ(kMVNoError, MVGetPluginHostInfo(plugin, &read));
    EXPECT_EQ(this, read);
    EXPECT_EQ(kMVNoError, MVSetPluginAdapterInfo(plugin, &plugin));
    EXPECT_EQ(kMVNoError, MVGetPluginAdapterInfo(plugin, &read));
    EXPECT_EQ(&plugin, read);
    EXPECT_EQ(kMVNoError, MVSetPluginResourceAccess(plugin, &app));
    EXPECT_EQ(kMVNoError, MVGetPluginResourceAccess(plugin, &read));
    EXPECT_EQ(&app, read);
    MVAdapter* adapter = nullptr;
    EXPECT_EQ(kMVNoError, MVGetPluginAdapter(plugin, &adapter));
    EXPECT_NE(nullptr, adapter);
}

TEST_F(PluginListTest, FlagsAreSetAndClearedOneByOne)
{
    struct Flag
    {
        MVResult (*get)(MVPlugin*, std::int32_t*);
        MVResult (*set)(MVPlugin*, std::int32_t);
    };
    const std::vector<Flag> flags = {{MVGetPluginStarted, MVSetPluginStarted},
                                     {MVGetPluginSkipShutdown, MVSetPluginSkipShutdown},
                                     {MVGetPluginBroken, MVSetPluginBroken}};
    MVPlugin* plugin = Add("/a.so");
    for (std::size_t set = 0; set < flags.size(); ++set)
    {
        EXPECT_EQ(kMVNoError, flags[set].set(plugin, 5));
        for (std::size_t read = 0; read < flags.size(); ++read)
        {
            std::int32_t value = -1;
            EXPECT_EQ(kMVNoError, flags[read].get(plugin, &value));
            EXPECT_EQ(read == set ? 1 : 0, value);
        }
        EXPECT_EQ(kMVNoError, flags[set].set(plugin, 0));
    }
}

TEST_F(PluginListTest, TheFileOfAPluginIsTold)
{
    MVFileSpecification file;
    EXPECT_EQ(kMVNoError, MVGetPluginFileSpecification(Add("/plug-ins/a.so"), &file));
    EXPECT_THAT(file.path, StrEq("/plug-ins/a.so"));
    MVPlugin* nowhere = nullptr;
    ASSERT_EQ(kMVNoError, MVAddPluginSpecification(nullptr, nullptr, nullptr, kMVMoonVetch2Adapter,
                                                   nullptr, &nowhere));
    EXPECT_EQ(kMVPluginNotFoundError, MVGetPluginFileSpecification(nowhere, &file));
    EXPECT_THAT(file.path, StrEq(""));
    EXPECT_THAT(app.thrown, IsEmpty());
}

TEST_F(PluginListTest, AHostPluginIsWhereTheHostIs)
{
    MVURL* bundle = MVCreateURL("/opt/app");
    ASSERT_EQ(kMVNoError, MVSetHostBundleRef(bundle));
    MVReleaseURL(bundle);
    MVFileSpecification file;
    EXPECT_EQ(kMVNoError, MVGetPluginFileSpecification(AddScripted().plugin, &file));
    EXPECT_THAT(file.path, StrEq("/opt/app"));
    EXPECT_EQ(kMVNoError, MVSetHostBundleRef(nullptr));
}

TEST_F(PluginListTest, AListOfPropertiesIsTakenFromByte128)
{
    MVPlugin* plugin = Add("/a.so", {RecordBytes(kMVProperty_StartsEarly, "")});
    MVPropertyList* list = nullptr;
    ASSERT_EQ(kMVNoError, MVAllocatePropertyList(&list));
    unsigned char source[136] = {};
    std::memcpy(source + 128, &list, sizeof list);
    EXPECT_EQ(kMVNoError, MVSetPluginPropertyList(plugin, source));
    EXPECT_EQ(kMVNoError, MVSetPluginPropertyList(plugin, source)) << "its own list stays";
    MVPropertyList* taken = nullptr;
    EXPECT_EQ(kMVNoError, MVGetPluginPropertyList(plugin, &taken));
    EXPECT_EQ(list, taken);
    MVProperty* property = nullptr;
    EXPECT_EQ(kMVNoError,
              MVFindProperty(taken, kMVVendorID, kMVProperty_StartsEarly, 0, &property));
    EXPECT_EQ(nullptr, property);
}

TEST_F(PluginListTest, AListOfOnesOwnEndsWithItsPluginsAndTheirAccesses)
{
    const std::size_t before = app.internalBlocks.size();
    MVPluginList* list = nullptr;
    ASSERT_EQ(kMVNoError, MVAllocatePluginList(nullptr, &list));
    MVPlugin* plugin = nullptr;
    ASSERT_EQ(kMVNoError, MVAddHostPlugin(list, ScriptedPlugin::EntryOf(9), nullptr,
                                          kMVMoonVetch2Adapter, nullptr, &plugin, nullptr));
    EXPECT_THAT(Listed(list), ElementsAre(plugin));
    EXPECT_EQ(1u, Listed().size());
    EXPECT_EQ(kMVNoError, MVFreePluginList(list));
    EXPECT_EQ(before, app.internalBlocks.size());
    std::int32_t flushed = 0;
    EXPECT_EQ(kMVNoError, MVFlushCaches(nullptr, &flushed));
}

TEST_F(PluginListTest, AnAccessThatIsHeldOutlivesTheRecordOfItsPlugin)
{
    MVPluginList* list = nullptr;
    ASSERT_EQ(kMVNoError, MVAllocatePluginList(nullptr, &list));
    MVPlugin* plugin = nullptr;
    ASSERT_EQ(kMVNoError, MVAddHostPlugin(list, ScriptedPlugin::EntryOf(9), nullptr,
                                          kMVMoonVetch2Adapter, nullptr, &plugin, nullptr));
    MVAccess* access = nullptr;
    ASSERT_EQ(kMVNoError, MVAcquirePlugin(plugin, &access));
    ASSERT_EQ(kMVNoError, MVFreePluginList(list));
    MVResult answer = kMVNoError;
    EXPECT_EQ(kMVBadParameterError, MVCallPlugin(access, kMVInterfaceCaller,
                                                 kMVInterfaceAboutSelector, nullptr, &answer));
    EXPECT_EQ(kMVNoError, MVReleasePlugin(access));
}

TEST_F(PluginListTest, ArgumentsThatAreMissingAreRefused)
{
    MVPlugin* plugin = nullptr;
    std::int32_t flag = 0;
    PIProperty* property = nullptr;
    MVFileSpecification file;
    EXPECT_EQ(kMVBadParameterError, MVAllocatePluginList(nullptr, nullptr));
    EXPECT_EQ(kMVBadParameterError,
              MVAddPlugin(nullptr, "/a.so", nullptr, kMVMoonVetch2Adapter, nullptr, nullptr));
    EXPECT_EQ(kMVBadParameterError, MVNextPlugin(nullptr, &plugin));
    EXPECT_EQ(kMVBadParameterError, MVGetPluginStarted(nullptr, &flag));
    EXPECT_EQ(kMVBadParameterError, MVSetPluginStarted(nullptr, 1));
    EXPECT_EQ(kMVBadParameterError, MVFindPluginProperty(nullptr, 0, 0, 0, &property));
    EXPECT_EQ(kMVBadParameterError, MVGetPluginFileSpecification(nullptr, &file));
    EXPECT_EQ(kMVBadParameterError, MVSetPluginPropertyList(plugin, nullptr));
    EXPECT_EQ(kMVBadParameterError, MVSetPluginName(nullptr, "name"));
}

} // namespace Testing
