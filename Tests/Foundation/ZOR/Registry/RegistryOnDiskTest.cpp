#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include <gtest/gtest.h>

#include "ZOR/RegistryKey.h"
#include "qelcore/ClientName.h"

namespace
{

using namespace ZOR;
using qelcore::kResult_OK;

// A config folder of its own, and the variables that name it.
class RegistryOnDiskTest : public testing::Test
{
protected:
    RegistryOnDiskTest()
    {
        std::string folder = testing::TempDir() + "rk-registry-XXXXXX";
        mFolder = mkdtemp(folder.data());
        Remember("XDG_CONFIG_HOME", mConfigBefore);
        Remember("HOME", mHomeBefore);
        setenv("XDG_CONFIG_HOME", mFolder.c_str(), 1);
        qelcore::config::SetClientName(u"Cutter");
    }
    ~RegistryOnDiskTest() override
    {
        Restore("XDG_CONFIG_HOME", mConfigBefore);
        Restore("HOME", mHomeBefore);
        qelcore::config::SetClientName(u"");
        std::filesystem::remove_all(mFolder);
    }
    static void Remember(const char* inName, std::string& outValue)
    {
        const char* const value = std::getenv(inName);
        outValue = value ? value : "";
    }
    static void Restore(const char* inName, const std::string& inValue)
    {
        if (inValue.empty())
            unsetenv(inName);
        else
            setenv(inName, inValue.c_str(), 1);
    }
    static qelcore::Result Write(std::uint32_t inValue)
    {
        RegistryKey key;
        const qelcore::Result result =
            key.CreateOrOpen(RegistryRoot::kCurrentUser, GetRegistryBaseKey());
        return qelcore::Failed(result) ? result : key.SetUInt32Value(u"Value", inValue);
    }
    static std::uint32_t Read()
    {
        RegistryKey key;
        std::uint32_t value = 0;
        key.Open(RegistryRoot::kCurrentUser, GetRegistryBaseKey());
        key.GetUInt32Value(u"Value", value);
        return value;
    }
    static std::string Content(const std::string& inPath)
    {
        std::ifstream file(inPath, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string mFolder;
    std::string mConfigBefore;
    std::string mHomeBefore;
};

TEST_F(RegistryOnDiskTest, AValueLiesInTheFolderOfTheClientsName)
{
    ASSERT_EQ(kResult_OK, Write(4));
    EXPECT_EQ("Value = 4\n", Content(mFolder + "/Cutter/registry.conf"));
    EXPECT_EQ(4u, Read());
}

TEST_F(RegistryOnDiskTest, WithoutTheVariableTheHomeFolderCounts)
{
    setenv("XDG_CONFIG_HOME", "relative/path", 1); // only an absolute one counts
    setenv("HOME", mFolder.c_str(), 1);
    ASSERT_EQ(kResult_OK, Write(5));
    EXPECT_EQ("Value = 5\n", Content(mFolder + "/.config/Cutter/registry.conf"));
}

TEST_F(RegistryOnDiskTest, WithNeitherVariableThereIsNoKey)
{
    unsetenv("XDG_CONFIG_HOME");
    unsetenv("HOME");
    EXPECT_EQ(kResult_RegistryNoKey, Write(6));
}

TEST_F(RegistryOnDiskTest, AFileEditedByHandIsSeenByTheNextOpen)
{
    ASSERT_EQ(kResult_OK, Write(1));
    EXPECT_EQ(1u, Read());
    std::ofstream(mFolder + "/Cutter/registry.conf") << "# by hand\nValue = 12345\n";
    EXPECT_EQ(12345u, Read());
}

TEST_F(RegistryOnDiskTest, NothingButTheFileIsLeftBehindByAWrite)
{
    for (std::uint32_t value = 0; value < 10; ++value)
        ASSERT_EQ(kResult_OK, Write(value));
    int entries = 0;
    for (const auto& entry : std::filesystem::directory_iterator(mFolder + "/Cutter"))
    {
        ++entries;
        EXPECT_EQ("registry.conf", entry.path().filename());
    }
    EXPECT_EQ(1, entries);
}

TEST_F(RegistryOnDiskTest, AFolderThatCannotBeMadeFailsTheWrite)
{
    std::ofstream(mFolder + "/Cutter") << "a file where the folder should be";
    EXPECT_EQ(kResult_RegistryNotWritten, Write(1));
    EXPECT_EQ(0u, Read());
}

TEST_F(RegistryOnDiskTest, EveryOwnWriteIsSeenByTheReadBehindIt)
{
    // Same size each time, and faster than the file system's clock may tick.
    for (std::uint32_t value = 100; value < 300; ++value)
    {
        ASSERT_EQ(kResult_OK, Write(value));
        ASSERT_EQ(value, Read());
    }
}

TEST_F(RegistryOnDiskTest, WritersOfDifferentValuesInOneProcessLoseNone)
{
    constexpr std::uint32_t kWrites = 50;
    const auto write = [](const char16_t* inName)
    {
        for (std::uint32_t value = 1; value <= kWrites; ++value)
        {
            RegistryKey key;
            key.CreateOrOpen(RegistryRoot::kCurrentUser, GetRegistryBaseKey());
            key.SetUInt32Value(inName, value);
        }
    };
    std::thread a(write, u"A");
    std::thread b(write, u"B");
    a.join();
    b.join();
    EXPECT_EQ(std::string("A = 50\nB = 50\n").size(),
              Content(mFolder + "/Cutter/registry.conf").size());
    RegistryKey key;
    std::uint32_t valueA = 0;
    std::uint32_t valueB = 0;
    ASSERT_EQ(kResult_OK, key.Open(RegistryRoot::kCurrentUser, GetRegistryBaseKey()));
    key.GetUInt32Value(u"A", valueA);
    key.GetUInt32Value(u"B", valueB);
    EXPECT_EQ(kWrites, valueA);
    EXPECT_EQ(kWrites, valueB);
}

} // namespace
