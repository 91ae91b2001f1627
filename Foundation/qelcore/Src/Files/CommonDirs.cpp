#include "qelcore/CommonDirs.h"

#include <cstdlib>
#include <string>

#include "qelcore/DebugDatabase.h"
#include "qelcore/TextConversion.h"

namespace qelcore
{
namespace filesupport
{
namespace commondirs
{
namespace
{

bool IsAbsolute(const std::string& inPath)
{
    return !inPath.empty() && inPath.front() == '/';
}

/// Empty unless the variable holds an absolute path.
std::string FolderOf(const char* inVariable)
{
    const char* const value = std::getenv(inVariable);
    return value != nullptr && IsAbsolute(value) ? value : std::string();
}

std::string DataFolder()
{
    std::string folder = FolderOf("XDG_DATA_HOME");
    const std::string home = FolderOf("HOME");
    if (!folder.empty() || home.empty())
        return folder;
    return home + "/.local/share";
}

} // namespace

Dir SkyAtelierSyncDir(bool inDefault)
{
    const std::string path =
        debug::DebugDatabase::Instance().GetEntry("SkyAtelier.SyncFolder", std::string());
    if (IsAbsolute(path))
        return Dir(utility::FileNameToUTF16(path));
    const std::string data = inDefault ? DataFolder() : std::string();
    return data.empty() ? Dir() : Dir(utility::FileNameToUTF16(data + "/Sky Atelier Sync"));
}

} // namespace commondirs
} // namespace filesupport
} // namespace qelcore
