// A file system in user space that shows a folder of the real disk, and fails where it is told to. Started
// by FaultyMount, which tells it the faults over a socket; when that ends it unmounts, and goes.
//
//     rk_faulty_mount FOLDER MOUNT_POINT SOCKET
#define FUSE_USE_VERSION 312

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <fnmatch.h>
#include <fuse3/fuse.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace
{

int sFolder = -1; // the one that is shown

struct Fault
{
    std::string operation;
    std::string name; // a pattern of fnmatch() for the last component
    int error = 0;
    long most = -1; // bytes of a transfer, entries of a listing; -1 for no limit
    bool hangs = false;
    long after = 0; // how many calls still work
    long times = 0; // how many then do not; 0 for all
};

bool Matches(const std::string& inPattern, const std::string& inText)
{
    return fnmatch(inPattern.c_str(), inText.c_str(), 0) == 0;
}

// What is wrong with the file system.
class Faults
{
public:
    struct Answer
    {
        int error = 0;
        long most = -1;
    };

    /// Counts a call, and says what becomes of it. Does not return from one that hangs before Clear().
    Answer Meet(const std::string& inOperation, const char* inPath)
    {
        const std::string path = inPath != nullptr ? inPath : "";
        const std::string name = path.substr(path.rfind('/') + 1);
        std::unique_lock<std::mutex> lock(mMutex);
        ++mCalls[{inOperation, name}];
        Answer answer;
        for (Fault& fault : mFaults)
        {
            if (!Matches(fault.operation, inOperation) || !Matches(fault.name, name) ||
                !IsDue(fault))
                continue;
            const Fault met = fault; // the list may change while this one waits
            if (met.hangs)
                Hang(lock);
            answer = {met.error, met.most};
            break;
        }
        return answer;
    }
    void Add(const Fault& inFault)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mFaults.push_back(inFault);
    }
    void Clear()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mFaults.clear();
        ++mGeneration;
        mCleared.notify_all();
    }
    long CallCount(const std::string& inOperation, const std::string& inName)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        long count = 0;
        for (const auto& calls : mCalls)
        {
            if (Matches(inOperation, calls.first.first) && Matches(inName, calls.first.second))
                count += calls.second;
        }
        return count;
    }
    long HangingCount()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return mHanging;
    }

private:
    static bool IsDue(Fault& ioFault)
    {
        if (ioFault.after > 0)
        {
            --ioFault.after;
            return false;
        }
        if (ioFault.times < 0)
            return false;
        if (ioFault.times > 0 && --ioFault.times == 0)
            ioFault.times = -1;
        return true;
    }
    void Hang(std::unique_lock<std::mutex>& ioLock)
    {
        ++mHanging;
        const long before = mGeneration;
        mCleared.wait(ioLock, [&] { return mGeneration != before; });
        --mHanging;
    }

    std::mutex mMutex; // guards all below
    std::condition_variable mCleared;
    std::vector<Fault> mFaults;
    std::map<std::pair<std::string, std::string>, long> mCalls;
    long mHanging = 0;
    long mGeneration = 0;
};

Faults sFaults;

int Failed()
{
    return -errno;
}
int Done(int inResult)
{
    return inResult < 0 ? Failed() : 0;
}
/// Within the folder that is shown.
const char* Below(const char* inPath)
{
    return inPath[1] == '\0' ? "." : inPath + 1;
}
/// Carries out inCall unless a fault is due.
template <class Call>
int Unless(const char* inOperation, const char* inPath, const Call& inCall)
{
    const int error = sFaults.Meet(inOperation, inPath).error;
    return error != 0 ? -error : inCall();
}

int GetAttributes(const char* inPath, struct stat* outStatus, fuse_file_info* inFile)
{
    return Unless("getattr", inPath,
                  [&]
                  {
                      if (inFile != nullptr)
                          return Done(fstat(static_cast<int>(inFile->fh), outStatus));
                      return Done(fstatat(sFolder, Below(inPath), outStatus, AT_SYMLINK_NOFOLLOW));
                  });
}

int ReadLink(const char* inPath, char* outTarget, std::size_t inSize)
{
    return Unless("readlink", inPath,
                  [&]
                  {
                      const ssize_t length =
                          readlinkat(sFolder, Below(inPath), outTarget, inSize - 1);
                      if (length >= 0)
                          outTarget[length] = '\0';
                      return Done(static_cast<int>(length));
                  });
}

int MakeDirectory(const char* inPath, mode_t inMode)
{
    return Unless("mkdir", inPath, [&] { return Done(mkdirat(sFolder, Below(inPath), inMode)); });
}
int RemoveFile(const char* inPath)
{
    return Unless("unlink", inPath, [&] { return Done(unlinkat(sFolder, Below(inPath), 0)); });
}
int RemoveDirectory(const char* inPath)
{
    return Unless("rmdir", inPath,
                  [&] { return Done(unlinkat(sFolder, Below(inPath), AT_REMOVEDIR)); });
}
int MakeSymbolicLink(const char* inTarget, const char* inPath)
{
    return Unless("symlink", inPath,
                  [&] { return Done(symlinkat(inTarget, sFolder, Below(inPath))); });
}
int Rename(const char* inFrom, const char* inTo, unsigned inFlags)
{
    return Unless(
        "rename", inFrom,
        [&] { return Done(renameat2(sFolder, Below(inFrom), sFolder, Below(inTo), inFlags)); });
}
int Link(const char* inFrom, const char* inTo)
{
    return Unless("link", inFrom,
                  [&] { return Done(linkat(sFolder, Below(inFrom), sFolder, Below(inTo), 0)); });
}
int ChangeMode(const char* inPath, mode_t inMode, fuse_file_info*)
{
    return Unless("chmod", inPath,
                  [&] { return Done(fchmodat(sFolder, Below(inPath), inMode, 0)); });
}
int ChangeOwner(const char* inPath, uid_t inUser, gid_t inGroup, fuse_file_info*)
{
    return Unless(
        "chown", inPath, [&]
        { return Done(fchownat(sFolder, Below(inPath), inUser, inGroup, AT_SYMLINK_NOFOLLOW)); });
}
int SetTimes(const char* inPath, const timespec inTimes[2], fuse_file_info*)
{
    return Unless(
        "utimens", inPath,
        [&] { return Done(utimensat(sFolder, Below(inPath), inTimes, AT_SYMLINK_NOFOLLOW)); });
}
int Space(const char* inPath, struct statvfs* outSpace)
{
    return Unless("statfs", inPath, [&] { return Done(fstatvfs(sFolder, outSpace)); });
}

int OpenAs(const char* inOperation, const char* inPath, int inFlags, mode_t inMode,
           fuse_file_info* ioFile)
{
    return Unless(inOperation, inPath,
                  [&]
                  {
                      const int file =
                          openat(sFolder, Below(inPath), inFlags | O_CLOEXEC | O_NOFOLLOW, inMode);
                      if (file < 0)
                          return Failed();
                      ioFile->fh = static_cast<std::uint64_t>(file);
                      return 0;
                  });
}
int Open(const char* inPath, fuse_file_info* ioFile)
{
    return OpenAs("open", inPath, ioFile->flags & ~(O_CREAT | O_EXCL), 0, ioFile);
}
int Create(const char* inPath, mode_t inMode, fuse_file_info* ioFile)
{
    return OpenAs("create", inPath, ioFile->flags | O_CREAT, inMode, ioFile);
}

std::size_t Within(std::size_t inSize, long inMost)
{
    return inMost >= 0 && static_cast<std::size_t>(inMost) < inSize
               ? static_cast<std::size_t>(inMost)
               : inSize;
}
int Read(const char* inPath, char* outBytes, std::size_t inSize, off_t inOffset,
         fuse_file_info* inFile)
{
    const Faults::Answer fault = sFaults.Meet("read", inPath);
    if (fault.error != 0)
        return -fault.error;
    const ssize_t got =
        pread(static_cast<int>(inFile->fh), outBytes, Within(inSize, fault.most), inOffset);
    return got < 0 ? Failed() : static_cast<int>(got);
}
int Write(const char* inPath, const char* inBytes, std::size_t inSize, off_t inOffset,
          fuse_file_info* inFile)
{
    const Faults::Answer fault = sFaults.Meet("write", inPath);
    if (fault.error != 0)
        return -fault.error;
    const ssize_t put =
        pwrite(static_cast<int>(inFile->fh), inBytes, Within(inSize, fault.most), inOffset);
    return put < 0 ? Failed() : static_cast<int>(put);
}
int Truncate(const char* inPath, off_t inSize, fuse_file_info* inFile)
{
    return Unless("truncate", inPath,
                  [&]
                  {
                      if (inFile != nullptr)
                          return Done(ftruncate(static_cast<int>(inFile->fh), inSize));
                      const int file = openat(sFolder, Below(inPath), O_WRONLY | O_CLOEXEC);
                      if (file < 0)
                          return Failed();
                      const int result = Done(ftruncate(file, inSize));
                      close(file);
                      return result;
                  });
}
int Flush(const char* inPath, fuse_file_info*)
{
    return Unless("flush", inPath, [] { return 0; }); // what close() reports
}
int Synchronize(const char* inPath, int inDataOnly, fuse_file_info* inFile)
{
    return Unless("fsync", inPath,
                  [&]
                  {
                      const int file = static_cast<int>(inFile->fh);
                      return Done(inDataOnly != 0 ? fdatasync(file) : fsync(file));
                  });
}
int Release(const char*, fuse_file_info* inFile)
{
    close(static_cast<int>(inFile->fh));
    return 0;
}

DIR* ListingOf(const fuse_file_info* inFile)
{
    return reinterpret_cast<DIR*>(static_cast<std::uintptr_t>(inFile->fh));
}
int OpenDirectory(const char* inPath, fuse_file_info* ioFile)
{
    return Unless("opendir", inPath,
                  [&]
                  {
                      const int file =
                          openat(sFolder, Below(inPath), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
                      DIR* const listing = file < 0 ? nullptr : fdopendir(file);
                      if (listing == nullptr)
                          return Failed();
                      ioFile->fh = reinterpret_cast<std::uintptr_t>(listing);
                      return 0;
                  });
}
int ReadDirectory(const char* inPath, void* ioBuffer, fuse_fill_dir_t inFill, off_t inOffset,
                  fuse_file_info* inFile, fuse_readdir_flags)
{
    const Faults::Answer fault = sFaults.Meet("readdir", inPath);
    if (fault.error != 0)
        return -fault.error;
    DIR* const listing = ListingOf(inFile);
    seekdir(listing, inOffset);
    for (long given = 0; fault.most < 0 || given < fault.most; ++given)
    {
        errno = 0;
        const dirent* const entry = readdir(listing);
        if (entry == nullptr)
            return -errno;
        struct stat status{};
        status.st_ino = entry->d_ino;
        status.st_mode = DTTOIF(entry->d_type);
        if (inFill(ioBuffer, entry->d_name, &status, entry->d_off, fuse_fill_dir_flags{}) != 0)
            return 0;
    }
    return 0;
}
int ReleaseDirectory(const char*, fuse_file_info* inFile)
{
    closedir(ListingOf(inFile));
    return 0;
}

/// Nothing is kept by the kernel, so that each call arrives here.
void* Begin(fuse_conn_info* ioConnection, fuse_config* ioConfig)
{
    ioConnection->want &= ~static_cast<unsigned>(FUSE_CAP_READDIRPLUS | FUSE_CAP_WRITEBACK_CACHE);
    ioConfig->entry_timeout = 0;
    ioConfig->negative_timeout = 0;
    ioConfig->attr_timeout = 0;
    ioConfig->direct_io = 1;
    ioConfig->use_ino = 1;
    ioConfig->hard_remove = 1;
    return nullptr;
}

fuse_operations Operations()
{
    fuse_operations operations{};
    operations.getattr = GetAttributes;
    operations.readlink = ReadLink;
    operations.mkdir = MakeDirectory;
    operations.unlink = RemoveFile;
    operations.rmdir = RemoveDirectory;
    operations.symlink = MakeSymbolicLink;
    operations.rename = Rename;
    operations.link = Link;
    operations.chmod = ChangeMode;
    operations.chown = ChangeOwner;
    operations.utimens = SetTimes;
    operations.statfs = Space;
    operations.open = Open;
    operations.create = Create;
    operations.read = Read;
    operations.write = Write;
    operations.truncate = Truncate;
    operations.flush = Flush;
    operations.fsync = Synchronize;
    operations.release = Release;
    operations.opendir = OpenDirectory;
    operations.readdir = ReadDirectory;
    operations.releasedir = ReleaseDirectory;
    operations.init = Begin;
    return operations;
}

/// "inject OPERATION ERROR MOST HANGS AFTER TIMES NAME", "clear", "count OPERATION NAME", "hanging".
std::string Obey(const std::string& inOrder)
{
    std::istringstream order(inOrder);
    std::string verb;
    order >> verb;
    if (verb == "inject")
    {
        Fault fault;
        order >> fault.operation >> fault.error >> fault.most >> fault.hangs >> fault.after >>
            fault.times;
        order.get();
        std::getline(order, fault.name, '\0');
        sFaults.Add(fault);
        return "ok";
    }
    if (verb == "clear")
    {
        sFaults.Clear();
        return "ok";
    }
    if (verb == "count")
    {
        std::string operation, name;
        order >> operation;
        order.get();
        std::getline(order, name, '\0');
        return std::to_string(sFaults.CallCount(operation, name));
    }
    return verb == "hanging" ? std::to_string(sFaults.HangingCount()) : "unknown";
}

/// For as long as the other end is there. Does not return.
void Serve(int inSocket, const std::string& inMountPoint)
{
    char buffer[8192];
    for (;;)
    {
        const ssize_t length = recv(inSocket, buffer, sizeof(buffer), 0);
        if (length <= 0)
            break;
        const std::string answer = Obey(std::string(buffer, static_cast<std::size_t>(length)));
        if (send(inSocket, answer.data(), answer.size(), MSG_NOSIGNAL) < 0)
            break;
    }
    umount2(inMountPoint.c_str(), MNT_DETACH);
    _exit(0); // with it go the calls that hang
}

int Run(const std::string& inFolder, const std::string& inMountPoint, int inSocket,
        const std::string& inKind)
{
    sFolder = open(inFolder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (sFolder < 0)
        return 1;
    umask(0); // the kernel has applied that of the caller
    char program[] = "rk_faulty_mount";
    char option[] = "-o";
    std::string values = "default_permissions,allow_other,fsname=faulty,subtype=" + inKind;
    char* words[] = {program, option, values.data()};
    fuse_args arguments = FUSE_ARGS_INIT(3, words);
    const fuse_operations operations = Operations();
    fuse* const session = fuse_new(&arguments, &operations, sizeof(operations), nullptr);
    if (session == nullptr || fuse_mount(session, inMountPoint.c_str()) != 0)
        return 2;
    if (send(inSocket, "ready", 5, MSG_NOSIGNAL) < 0)
        return 3;
    std::thread(Serve, inSocket, inMountPoint).detach();
    fuse_loop_config* const loop = fuse_loop_cfg_create();
    fuse_loop_cfg_set_max_threads(loop, 100); // each call that hangs keeps one
    const int answer = fuse_loop_mt(session, loop);
    fuse_loop_cfg_destroy(loop);
    fuse_unmount(session);
    return answer;
}

} // namespace

int main(int inCount, char** inWords)
{
    if (inCount != 5)
    {
        std::fprintf(stderr, "usage: rk_faulty_mount FOLDER MOUNT_POINT SOCKET KIND\n");
        return 64;
    }
    return Run(inWords[1], inWords[2], std::atoi(inWords[3]), inWords[4]);
}
