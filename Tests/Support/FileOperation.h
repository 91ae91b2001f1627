#pragma once

namespace Testing
{

// What a file system is asked to do, as far as fakes can make it fail.
enum class FileOperation
{
    kOpen,
    kRead, // at the position or at an offset
    kWrite,
    kSyncBytes,
    kClose,
    kStat, // by a path, or of an entry of an open folder
    kStatOpen,
    kVolumeOf,
    kList,
    kNext, // of a listing; its path is the folder's
    kOpenFolder,
    kMakeDirectory,
    kRemoveDirectory,
    kRemoveFile,
    kRename,
    kRenameNoReplace,
    kLink,
    kTouch,
    kBlockSize,
};

} // namespace Testing
