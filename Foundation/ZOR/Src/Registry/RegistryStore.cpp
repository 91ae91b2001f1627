#include "RegistryStore.h"

#include <atomic>
#include <cstdlib>

#include "Platform/FileSystem.h"
#include "Platform/WholeFile.h"

namespace ZOR
{
namespace
{

std::string Variable(const char* inName)
{
    const char* const value = std::getenv(inName);
    return value ? value : "";
}

bool IsAbsolute(const std::string& inPath)
{
    return !inPath.empty() && inPath.front() == '/';
}

void MakeFolders(const std::string& inPath)
{
    // Whether they are there in the end shows when the file is made.
    for (std::size_t at = inPath.find('/', 1); at != std::string::npos;
         at = inPath.find('/', at + 1))
        Platform::FileSystem().MakeDirectory(inPath.substr(0, at));
}

class FileRegistryStore : public IRegistryStore
{
public:
    std::string ConfigFolder() override
    {
        std::string folder = Variable("XDG_CONFIG_HOME");
        if (!IsAbsolute(folder))
        {
            const std::string home = Variable("HOME");
            if (!IsAbsolute(home))
                return {};
            folder = home + "/.config";
        }
        while (!folder.empty() && folder.back() == '/')
            folder.pop_back();
        return folder.empty() ? "/." : folder;
    }

    RegistryFileStamp Stamp(const std::string& inPath) override
    {
        Platform::FileStatus status;
        if (Platform::FileSystem().Stat(inPath, Platform::LinkPolicy::kFollow, status) != 0)
            return {};
        return {true, status.inode, status.size, status.modified.seconds,
                status.modified.nanoseconds};
    }

    bool Read(const std::string& inPath, std::size_t inMaxBytes, std::string& outBytes) override
    {
        return Platform::ReadWholeFile(Platform::FileSystem(), inPath, inMaxBytes, outBytes) == 0;
    }

    bool Write(const std::string& inPath, const std::string& inBytes) override
    {
        MakeFolders(inPath);
        return Platform::ReplaceWholeFile(Platform::FileSystem(), inPath, inBytes) == 0;
    }
};

std::atomic<IRegistryStore*>& Current()
{
    static FileRegistryStore& sReal =
        *new FileRegistryStore; // never destroyed: read during exit, too
    static std::atomic<IRegistryStore*> sCurrent{&sReal};
    return sCurrent;
}

constinit std::atomic<std::uint32_t> sGeneration{0};

} // namespace

IRegistryStore& RegistryStore()
{
    return *Current().load();
}

std::uint32_t RegistryStoreGeneration()
{
    return sGeneration.load();
}

ScopedRegistryStore::ScopedRegistryStore(IRegistryStore& inStore)
    : mBefore(Current().exchange(&inStore))
{
    ++sGeneration;
}

ScopedRegistryStore::~ScopedRegistryStore()
{
    Current().store(mBefore);
    ++sGeneration;
}

} // namespace ZOR
