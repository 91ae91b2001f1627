// Plug-ins in files, with real shared objects: what they declare, and what keeps them from being loaded.
#include <cstddef>

#include <dlfcn.h>
#include <elf.h>
#include <sys/stat.h>

#include "PluginFolder.h"
#include "Support/TraceCapture.h"
#include "moonvetch2/HostFixture.h"

namespace
{

using Testing::BytesOfFile;
using Testing::CodeSample;
using Testing::CodeText;
using testing::ElementsAre;
using testing::HasSubstr;
using Testing::MakeBundle;
using Testing::PluginSample;
using Testing::PropertyBytes;

class PluginFilesTest : public Testing::HostFixture
{
protected:
    MVResult Add(const std::string& inPath)
    {
        return MVAddPluginFile(nullptr, inPath.c_str(), &mAdded);
    }
    /// What the plug-in of that name answers to a message; below 0 where there is none of that name.
    MVResult Ask(const char* inName)
    {
        MVPlugin* plugin = nullptr;
        MVResult answer = -1;
        if (MVGetNamedPlugin(inName, &plugin) == kMVNoError)
            mDelivery = MVSendMessage(plugin, "Test", "Question", nullptr, &answer);
        return answer;
    }
    std::string Patched(const std::string& inFile, std::size_t inOffset, char inByte)
    {
        std::string bytes = BytesOfFile(inFile);
        bytes[inOffset] = inByte;
        return mFolder.Write("Patched.so", bytes);
    }
    std::size_t Listed()
    {
        std::size_t count = 0;
        MVPluginListIterator* iterator = nullptr;
        MVPlugin* plugin = nullptr;
        EXPECT_EQ(kMVNoError, MVNewPluginListIterator(nullptr, &iterator));
        while (MVNextPlugin(iterator, &plugin) == kMVNoError && plugin != nullptr)
            ++count;
        MVDeletePluginListIterator(iterator);
        return count;
    }
    const char* Text() { return MVGetLoadFailureText(); }
    bool IsBroken(const char* inName)
    {
        MVPlugin* plugin = nullptr;
        std::int32_t broken = 0;
        MVGetNamedPlugin(inName, &plugin);
        MVGetPluginBroken(plugin, &broken);
        return broken != 0;
    }

    Testing::TemporaryFolder mFolder;
    std::int32_t mAdded = -1;
    MVResult mDelivery = -1;
};

TEST_F(PluginFilesTest, APlainFileDeclaresItselfWithoutBeingRun)
{
    ASSERT_EQ(kMVNoError, Add(PluginSample("Declared.so"))) << Text();
    EXPECT_EQ(1, mAdded);
    MVPlugin* plugin = nullptr;
    ASSERT_EQ(kMVNoError, MVGetNamedPlugin("Declared", &plugin));
    PIProperty* property = nullptr;
    MVFindPluginProperty(plugin, 0x54455354, 0x74657874, 3, &property);
    ASSERT_NE(nullptr, property);
    EXPECT_EQ(7u, property->propertyLength);
    EXPECT_STREQ("a text", reinterpret_cast<const char*>(property + 1));
    MVAccess* access = nullptr;
    EXPECT_EQ(kMVNoError, MVGetPluginAccess(plugin, &access));
    EXPECT_EQ(nullptr, access);
}

TEST_F(PluginFilesTest, TheEntryThatThePropertiesNameIsCalled)
{
    ASSERT_EQ(kMVNoError, Add(PluginSample("Declared.so"))) << Text();
    EXPECT_EQ(77, Ask("Declared"));
    EXPECT_EQ(kMVNoError, mDelivery) << Text();
}

TEST_F(PluginFilesTest, MacrosWorkInCppAsInC)
{
    ASSERT_EQ(kMVNoError, Add(PluginSample("DeclaredInCpp.so"))) << Text();
    EXPECT_EQ(78, Ask("Declared in C++"));
}

TEST_F(PluginFilesTest, AnExportedObjectServesWhereThereIsNoSection)
{
    ASSERT_EQ(kMVNoError, Add(PluginSample("SymbolOnly.so"))) << Text();
    EXPECT_EQ(79, Ask("Symbol Only"));
}

TEST_F(PluginFilesTest, WithoutANameForTheEntryMainIsFoundAfterPluginMain)
{
    ASSERT_EQ(kMVNoError, Add(PluginSample("DefaultEntry.so"))) << Text();
    EXPECT_EQ(80, Ask("Default Entry"));
}

TEST_F(PluginFilesTest, TheProperWayIsToAddAFileByPathLinkOrURL)
{
    const std::string spaced =
        mFolder.Write("Пла гин.so", BytesOfFile(PluginSample("Declared.so")));
    EXPECT_EQ(kMVNoError, Add(spaced)) << Text();
    EXPECT_EQ(77, Ask("Declared"));
    const std::string link = mFolder.Path("Link.so");
    std::filesystem::create_symlink(PluginSample("DeclaredInCpp.so"), link);
    EXPECT_EQ(kMVNoError, Add(link)) << Text();
    EXPECT_EQ(78, Ask("Declared in C++"));
    mFolder.Write("A b.so", BytesOfFile(PluginSample("SymbolOnly.so")));
    EXPECT_EQ(kMVNoError, Add("file://" + mFolder.Path("A%20b.so"))) << Text();
    EXPECT_EQ(79, Ask("Symbol Only"));
}

TEST_F(PluginFilesTest, ARelativePathIsOneOfTheCurrentDirectory)
{
    mFolder.Write("Near.so", BytesOfFile(PluginSample("Declared.so")));
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(mFolder.Path());
    const MVResult result = Add("Near.so");
    std::filesystem::current_path(before);
    ASSERT_EQ(kMVNoError, result) << Text();
    EXPECT_EQ(77, Ask("Declared"));
}

TEST_F(PluginFilesTest, EachPropertyFileOfABundleIsAPlugin)
{
    const std::string bundle =
        MakeBundle(mFolder, "TwoInOne", PluginSample("TwoInOne.plugin/Contents/Linux/TwoInOne.so"),
                   PropertyBytes().Name("Late").Entry("SecondMain").Bytes());
    mFolder.Write("TwoInOne.plugin/Contents/Resources/Early.mvproperties",
                  PropertyBytes().Name("Early").Entry("FirstMain").Bytes());
    mFolder.Write("TwoInOne.plugin/Contents/Resources/._Late.mvproperties", "left by a copy");
    mFolder.Write("TwoInOne.plugin/Contents/Resources/Read me.txt", "no properties");
    mFolder.MakeFolder("TwoInOne.plugin/Contents/Resources/Folder.mvproperties");
    ASSERT_EQ(kMVNoError, Add(bundle)) << Text();
    EXPECT_EQ(2, mAdded);
    EXPECT_EQ(81, Ask("Early"));
    EXPECT_EQ(82, Ask("Late"));
}

TEST_F(PluginFilesTest, PropertyFilesAreTakenInTheOrderOfTheirNames)
{
    const std::string bundle =
        MakeBundle(mFolder, "B", CodeSample("MainOnly"), PropertyBytes().Name("of B").Bytes());
    for (const char* const name : {"C", "A"})
        mFolder.Write(std::string("B.plugin/Contents/Resources/") + name + ".mvproperties",
                      PropertyBytes().Name(std::string("of ") + name).Bytes());
    ASSERT_EQ(kMVNoError, Add(bundle)) << Text();
    // The last that was added is the first in the list.
    std::vector<std::string> names;
    MVPluginListIterator* iterator = nullptr;
    MVPlugin* plugin = nullptr;
    ASSERT_EQ(kMVNoError, MVNewPluginListIterator(nullptr, &iterator));
    while (names.size() < 3 && MVNextPlugin(iterator, &plugin) == kMVNoError && plugin != nullptr)
    {
        MVWString name = nullptr;
        MVGetPluginName(plugin, &name);
        names.emplace_back(name);
    }
    MVDeletePluginListIterator(iterator);
    EXPECT_THAT(names, ElementsAre("of C", "of B", "of A"));
}

TEST_F(PluginFilesTest, ABundleWithoutPropertyFilesHasThemInItsCode)
{
    mFolder.Write("Plain.plugin/Contents/Linux/Plain.so", BytesOfFile(PluginSample("Declared.so")));
    ASSERT_EQ(kMVNoError, Add(mFolder.Path("Plain.plugin"))) << Text();
    EXPECT_EQ(77, Ask("Declared"));
}

TEST_F(PluginFilesTest, WhatTheBuildPutsIntoABundleIsRead)
{
    ASSERT_EQ(kMVNoError, Add(PluginSample("TwoInOne.plugin"))) << Text();
    EXPECT_EQ(1, mAdded);
    EXPECT_EQ(81, Ask("First"));
}

TEST_F(PluginFilesTest, PropertyFilesThatTheBuildIsGivenComeBeforeThoseInTheCode)
{
    ASSERT_EQ(kMVNoError, Add(PluginSample("WithFile.plugin"))) << Text();
    EXPECT_EQ(1, mAdded);
    EXPECT_EQ(82, Ask("Listed"));
}

TEST_F(PluginFilesTest, TheBuildShowsTheEntryAndNothingElse)
{
    void* const code = dlopen(PluginSample("Declared.so").c_str(), RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(nullptr, code) << dlerror();
    EXPECT_NE(nullptr, dlsym(code, "DeclaredMain"));
    EXPECT_EQ(nullptr, dlsym(code, "DeclaredHelper"));
}

TEST_F(PluginFilesTest, WhatIsNotThereIsNotFound)
{
    EXPECT_EQ("'P!Fd'", CodeText(Add(mFolder.Path("Nothing.so"))));
    EXPECT_EQ(mFolder.Path("Nothing.so") + ": No such file or directory", Text());
    EXPECT_EQ("'P!Fd'", CodeText(Add("http://somewhere/a.so")));
    EXPECT_EQ("'Parm'", CodeText(MVAddPluginFile(nullptr, nullptr, &mAdded)));
    EXPECT_EQ(0, mAdded);
}

TEST_F(PluginFilesTest, CodeWithoutPropertiesIsNoPlugin)
{
    const std::size_t before = Listed();
    EXPECT_EQ("'NMVP'", CodeText(Add(CodeSample("PluginMain"))));
    EXPECT_THAT(Text(), HasSubstr("no plug-in: it has no properties"));
    EXPECT_EQ(before, Listed());
}

TEST_F(PluginFilesTest, WhatIsNoSharedObjectIsNoPlugin)
{
    EXPECT_EQ("'NMVP'", CodeText(Add(mFolder.Write("Text.so", "this is some text, no code"))));
    EXPECT_THAT(Text(), HasSubstr("no shared object"));
    const std::string narrow = Patched(PluginSample("Declared.so"), EI_CLASS, ELFCLASS32);
    EXPECT_EQ("'NMVP'", CodeText(Add(narrow)));
    EXPECT_THAT(Text(), HasSubstr("wrong architecture: 32 bits"));
    mFolder.MakeFolder("Empty.plugin");
    EXPECT_EQ("'NMVP'", CodeText(Add(mFolder.Path("Empty.plugin"))));
    EXPECT_THAT(Text(), HasSubstr("a folder without code"));
    ASSERT_EQ(0, mkfifo(mFolder.Path("Pipe.so").c_str(), 0600));
    EXPECT_EQ("'NMVP'", CodeText(Add(mFolder.Path("Pipe.so"))));
}

TEST_F(PluginFilesTest, DamagedPropertiesListNothing)
{
    const std::size_t before = Listed();
    EXPECT_EQ("'Parm'", CodeText(Add(PluginSample("Damaged.so"))));
    EXPECT_THAT(Text(), HasSubstr("Damaged.so: damaged"));
    EXPECT_EQ(before, Listed());
}

TEST_F(PluginFilesTest, OneDamagedPropertyFileKeepsTheWholeBundleOut)
{
    const std::size_t before = Listed();
    const std::string bundle =
        MakeBundle(mFolder, "B", CodeSample("MainOnly"), PropertyBytes().Name("B").Bytes());
    mFolder.Write("B.plugin/Contents/Resources/Z.mvproperties", "short");
    EXPECT_EQ("'Parm'", CodeText(Add(bundle)));
    EXPECT_EQ(0, mAdded);
    EXPECT_EQ(before, Listed());
    mFolder.Write("B.plugin/Contents/Resources/Z.mvproperties", "");
    EXPECT_EQ("'Parm'", CodeText(Add(bundle)));
    mFolder.Write("B.plugin/Contents/Resources/Z.mvproperties", std::string((1 << 20) + 4, '\0'));
    EXPECT_EQ("'Parm'", CodeText(Add(bundle)));
    EXPECT_THAT(Text(), HasSubstr("Z.mvproperties: properties that cannot be read"));
}

TEST_F(PluginFilesTest, WhereverMemoryRunsOutAsManyAreListedAsAreTold)
{
    const std::string bundle = MakeBundle(mFolder, "B", CodeSample("MainOnly"),
                                          PropertyBytes().Name("B").Entry("").Bytes());
    mFolder.Write("B.plugin/Contents/Resources/A.mvproperties", PropertyBytes().Name("A").Bytes());
    MVResult result = kMVOutOfMemoryError;
    for (int left = 0; result != kMVNoError; ++left)
    {
        ASSERT_LT(left, 100);
        const std::size_t before = Listed();
        app.allocationsLeft = left;
        result = Add(bundle);
        app.allocationsLeft = -1;
        EXPECT_EQ(result == kMVNoError ? kMVNoError : kMVOutOfMemoryError, result);
        EXPECT_EQ(before + static_cast<std::size_t>(mAdded), Listed());
        EXPECT_EQ(result == kMVNoError, mAdded == 2);
    }
}

TEST_F(PluginFilesTest, AFileCutShortAnywhereIsRefusedOrListedButNeverReadPastItsEnd)
{
    const std::string whole = BytesOfFile(PluginSample("Declared.so"));
    for (std::size_t size = 0; size < whole.size(); size += 127)
        EXPECT_NE(kMVNoError, Add(mFolder.Write("Cut.so", whole.substr(0, size)))) << size;
}

TEST_F(PluginFilesTest, PropertiesCutShortAnywhereAreRefused)
{
    const std::string whole = PropertyBytes().Name("Whole").Entry("").Bytes();
    for (std::size_t size = 0; size < whole.size(); ++size)
    {
        const std::string bundle =
            MakeBundle(mFolder, "B", CodeSample("MainOnly"), whole.substr(0, size));
        EXPECT_EQ("'Parm'", CodeText(Add(bundle))) << size;
    }
    EXPECT_EQ(kMVNoError, Add(MakeBundle(mFolder, "B", CodeSample("MainOnly"), whole)));
}

TEST_F(PluginFilesTest, CodeForAnotherMachineIsListedButCannotBeAcquired)
{
    const std::string path = Patched(PluginSample("Declared.so"), offsetof(Elf64_Ehdr, e_machine),
                                     static_cast<char>(EM_AARCH64));
    ASSERT_EQ(kMVNoError, Add(path)) << Text();
    Ask("Declared");
    EXPECT_EQ("'!Acq'", CodeText(mDelivery));
    EXPECT_THAT(Text(), HasSubstr("Patched.so: wrong architecture: machine 183"));
    EXPECT_TRUE(IsBroken("Declared"));
}

/// A bundle of code that cannot be used, and what is said of it.
struct BadCode
{
    const char* sample;
    const char* text;
};

class BadPluginCode : public PluginFilesTest, public testing::WithParamInterface<BadCode>
{
};

TEST_P(BadPluginCode, CannotBeAcquiredAndIsToldByTheLoadersWordsInTheTraceToo)
{
    Testing::TraceCapture trace("PluginHost");
    const std::string bundle = MakeBundle(mFolder, "Bad", CodeSample(GetParam().sample),
                                          PropertyBytes().Name("Bad").Entry("").Bytes());
    ASSERT_EQ(kMVNoError, Add(bundle)) << Text();
    Ask("Bad");
    EXPECT_EQ("'!Acq'", CodeText(mDelivery));
    EXPECT_THAT(Text(), HasSubstr(GetParam().text));
    EXPECT_THAT(trace.Texts(), testing::Contains(std::string(Text())));
    EXPECT_TRUE(IsBroken("Bad"));
    EXPECT_THAT(app.thrown, testing::Contains(kMVCantAcquirePluginError));
}

INSTANTIATE_TEST_SUITE_P(Samples, BadPluginCode,
                         testing::Values(BadCode{"Unresolved", "undefined symbol: rk_there_is_no"},
                                         BadCode{"NoEntry", "undefined symbol: main"},
                                         BadCode{"Dependent", "librk_code_dependency.so"}),
                         [](const testing::TestParamInfo<BadCode>& inInfo)
                         { return std::string(inInfo.param.sample); });

TEST_F(PluginFilesTest, ABundleWithoutCodeIsListedButCannotBeAcquired)
{
    mFolder.Write("B.plugin/Contents/Resources/B.mvproperties",
                  PropertyBytes().Name("B").Entry("").Bytes());
    ASSERT_EQ(kMVNoError, Add(mFolder.Path("B.plugin"))) << Text();
    Ask("B");
    EXPECT_EQ("'!Acq'", CodeText(mDelivery));
    EXPECT_THAT(Text(), HasSubstr("a folder without code"));
}

TEST_F(PluginFilesTest, APluginThatAnswersGarbageToEverythingHoldsNobodyUp)
{
    ASSERT_EQ(kMVNoError, Add(PluginSample("Garbage.so"))) << Text();
    ASSERT_EQ(kMVNoError, Add(PluginSample("Declared.so"))) << Text();
    EXPECT_EQ(kMVNoError, MVStartupPlugins());
    EXPECT_EQ(77, Ask("Declared"));
    const void* table = nullptr;
    EXPECT_NE(kMVNoError, MVAcquireSuite(nullptr, "Garbage Suite", 1, 0, &table));
    EXPECT_EQ(nullptr, table);
    std::int32_t flushed = 0;
    MVFlushCaches(nullptr, &flushed);
    MVShutdownPlugins();
    EXPECT_EQ(kMVNoError, MVTerm());
    EXPECT_EQ(0, MVInited());
}

TEST_F(PluginFilesTest, AnExceptionOutOfAnEntryOfAFileIsAnAnswer)
{
    ASSERT_EQ(kMVNoError, Add(PluginSample("Throws.so"))) << Text();
    EXPECT_EQ("'PExc'", CodeText(Ask("Throws")));
    EXPECT_EQ(kMVNoError, mDelivery);
}

TEST_F(PluginFilesTest, WithoutAHostNothingIsListed)
{
    ASSERT_EQ(kMVNoError, MVTerm());
    EXPECT_NE(kMVNoError, Add(PluginSample("Declared.so")));
    EXPECT_EQ(0, mAdded);
}

TEST_F(PluginFilesTest, WhatWasLoadedLeavesNoFailureBehind)
{
    Add(mFolder.Path("Nothing.so"));
    ASSERT_EQ(kMVNoError, Add(PluginSample("Declared.so")));
    EXPECT_STREQ("", Text());
}

} // namespace
