#pragma once

// Folders that come, go and move while they are being watched.
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>

#include "FolderEventStreamReader.h"

namespace Testing
{

/// Makes, moves, exchanges and removes folders at random.
class FolderMutator
{
public:
    FolderMutator(std::string inRoot, unsigned inSeed)
        : mRoot(std::move(inRoot))
        , mRandom(inSeed)
    {
    }

    void operator()()
    {
        constexpr int kSteps = 300;
        for (int step = 0; step < kSteps; ++step)
            Step();
    }

private:
    int Number(int inLimit) { return std::uniform_int_distribution<int>(0, inLimit - 1)(mRandom); }

    std::string Folder()
    {
        std::string path = mRoot;
        for (int depth = Number(4) + 1; depth > 0; --depth)
            path += "/" + std::string(1, static_cast<char>('a' + Number(4)));
        return path;
    }

    void Step()
    {
        std::error_code ignored;
        switch (Number(7))
        {
        case 0:
            std::filesystem::create_directory(Folder(), ignored);
            break;
        case 1:
        case 2:
            std::filesystem::create_directories(Folder(), ignored);
            break;
        case 3:
        case 4:
            std::filesystem::rename(Folder(), Folder(), ignored);
            break;
        case 5:
            renameat2(AT_FDCWD, Folder().c_str(), AT_FDCWD, Folder().c_str(), RENAME_EXCHANGE);
            break;
        default:
            std::filesystem::remove_all(Folder(), ignored);
        }
    }

    const std::string mRoot;
    std::mt19937 mRandom;
};

inline std::vector<std::string> FoldersBelow(const std::string& inRoot)
{
    std::vector<std::string> folders;
    for (const std::filesystem::directory_entry& entry :
         std::filesystem::recursive_directory_iterator(inRoot))
        if (entry.is_directory())
            folders.push_back(entry.path().string());
    return folders;
}

/// Lets two mutators loose below a folder that is watched.
/// @return a folder whose new entry is not told in the end, if there is one.
inline std::string MoveFoldersAndFindUnwatched(FolderEventStreamReader& ioReader,
                                               const std::string& inRoot, unsigned inSeed)
{
    std::thread first{FolderMutator(inRoot, inSeed)};
    std::thread second{FolderMutator(inRoot, inSeed + 1000)};
    first.join();
    second.join();

    const std::vector<std::string> folders = FoldersBelow(inRoot);
    for (const std::string& folder : folders)
        std::filesystem::create_directory(folder + "/probe");
    for (const std::string& folder : folders)
        if (!ioReader.Sees(folder.substr(inRoot.size() + 1) + "/probe",
                           Platform::kFolderEvent_ItemCreated))
            return folder;
    return std::string();
}

} // namespace Testing
