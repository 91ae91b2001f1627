#include <cstdlib>
#include <optional>
#include <string>

#include <gtest/gtest.h>

#include "qelcore/CommonDirs.h"
#include "qelcore/DebugDatabase.h"

namespace
{

using qelcore::filesupport::commondirs::SkyAtelierSyncDir;

/// Sets a variable of the environment for its life; null takes it out.
class ScopedVariable
{
public:
    ScopedVariable(const char* inName, const char* inValue)
        : mName(inName)
    {
        if (const char* const before = std::getenv(inName))
            mBefore = before;
        Set(inValue);
    }
    ~ScopedVariable() { Set(mBefore ? mBefore->c_str() : nullptr); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    void Set(const char* inValue) const
    {
        if (inValue != nullptr)
            setenv(mName, inValue, 1);
        else
            unsetenv(mName);
    }
    const char* const mName;
    std::optional<std::string> mBefore;
};

TEST(SkyAtelierSyncDir, IsInTheUsersDataFolder)
{
    const ScopedVariable home("HOME", "/home/user");
    {
        const ScopedVariable data("XDG_DATA_HOME", "/data");
        EXPECT_EQ(u"/data/Sky Atelier Sync", SkyAtelierSyncDir(true).FullPath());
        EXPECT_EQ(u"Sky Atelier Sync", SkyAtelierSyncDir(true).GetName());
    }
    for (const char* useless : {static_cast<const char*>(nullptr), "", "relative/folder"})
    {
        const ScopedVariable data("XDG_DATA_HOME", useless);
        EXPECT_EQ(u"/home/user/.local/share/Sky Atelier Sync", SkyAtelierSyncDir(true).FullPath());
    }
}

TEST(SkyAtelierSyncDir, IsWhereTheSettingSays)
{
    auto& settings = qelcore::debug::DebugDatabase::Instance();
    const ScopedVariable data("XDG_DATA_HOME", "/data");
    EXPECT_EQ(u"", SkyAtelierSyncDir(false).FullPath()) << "nothing is set";
    settings.SetEntry("SkyAtelier.SyncFolder", "/cloud/mine");
    EXPECT_EQ(u"/cloud/mine", SkyAtelierSyncDir(true).FullPath());
    EXPECT_EQ(u"/cloud/mine", SkyAtelierSyncDir(false).FullPath());
    settings.SetEntry("SkyAtelier.SyncFolder", "relative");
    EXPECT_EQ(u"/data/Sky Atelier Sync", SkyAtelierSyncDir(true).FullPath());
    settings.RemoveEntry("SkyAtelier.SyncFolder");
}

TEST(SkyAtelierSyncDir, IsNowhereWithoutAHome)
{
    const ScopedVariable data("XDG_DATA_HOME", nullptr);
    const ScopedVariable home("HOME", nullptr);
    EXPECT_EQ(u"", SkyAtelierSyncDir(true).FullPath());
    EXPECT_FALSE(SkyAtelierSyncDir(true).Exists());
}

} // namespace
