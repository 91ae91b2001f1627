#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "ZORMessaging/Listener.h"
#include "qelcore/UTFString.h"

namespace RKHost
{

// Folders that are watched for the life of this object.
//
// Threads  The main thread only, where the loop calls back.
class FolderWatches : public ZOR::Listener
{
public:
    enum class What
    {
        kChanged, ///< entries of a folder
        kLookNow, ///< its volume gives no events: it may have changed
        kVolumes, ///< volumes came or went; there is no path
    };
    using OnTold = std::function<void(What inWhat, const std::string& inPath)>;

    /// Watches nothing yet. inOnTold hears of folders that others in the process watch too.
    explicit FolderWatches(const OnTold& inOnTold);
    ~FolderWatches() override;
    FolderWatches(const FolderWatches&) = delete;
    FolderWatches& operator=(const FolderWatches&) = delete;

    /// The folder is told by this path, letter for letter.
    void Add(const std::string& inFolder, bool inRecursive);
    void AddVolumes();

    void ListenToMessage(const ZOR::Message& inMessage) override;

private:
    const OnTold mOnTold;
    std::vector<std::pair<qelcore::UTF16String, bool>> mFolders; ///< and whether with all below
    bool mHasVolumes = false;
};

} // namespace RKHost
