#include "Platform/WholeFile.h"

#include <atomic>
#include <cerrno>

#include <unistd.h>

namespace Platform
{
namespace
{

int ReadToEnd(IFileSystem& inFileSystem, FileHandle inFile, std::size_t inMaxBytes,
              std::string& outBytes)
{
    char block[16384];
    for (;;)
    {
        std::size_t got = 0;
        if (const int error = inFileSystem.Read(inFile, block, sizeof block, got))
            return error;
        if (got == 0)
            return 0;
        if (got > inMaxBytes - outBytes.size())
            return EFBIG;
        outBytes.append(block, got);
    }
}

int WriteAll(IFileSystem& inFileSystem, FileHandle inFile, const std::string& inBytes)
{
    for (std::size_t done = 0; done < inBytes.size();)
    {
        std::size_t put = 0;
        if (const int error =
                inFileSystem.Write(inFile, inBytes.data() + done, inBytes.size() - done, put))
            return error;
        if (put == 0)
            return EIO;
        done += put;
    }
    return 0;
}

int WriteNewFile(IFileSystem& inFileSystem, const std::string& inPath, const std::string& inBytes)
{
    OpenOptions options;
    options.access = FileAccess::kWrite;
    options.creation = FileCreation::kMustCreate;
    FileHandle file = kNoFile;
    if (const int error = inFileSystem.Open(inPath, options, file))
        return error;
    const int writeError = WriteAll(inFileSystem, file, inBytes);
    const int closeError = inFileSystem.Close(file);
    return writeError != 0 ? writeError : closeError;
}

// Its own for each writer, so that none writes into another's file.
std::string TemporaryName(const std::string& inPath)
{
    static std::atomic<unsigned> sTicket{0};
    return inPath + '.' + std::to_string(getpid()) + '-' + std::to_string(sTicket.fetch_add(1)) +
           ".new";
}

} // namespace

int ReadWholeFile(IFileSystem& inFileSystem, const std::string& inPath, std::size_t inMaxBytes,
                  std::string& outBytes)
{
    outBytes.clear();
    FileHandle file = kNoFile;
    OpenOptions options;
    options.sequential = true;
    if (const int error = inFileSystem.Open(inPath, options, file))
        return error;
    const int error = ReadToEnd(inFileSystem, file, inMaxBytes, outBytes);
    inFileSystem.Close(file);
    if (error != 0)
        outBytes.clear();
    return error;
}

int ReplaceWholeFile(IFileSystem& inFileSystem, const std::string& inPath,
                     const std::string& inBytes)
{
    const std::string temporary = TemporaryName(inPath);
    int error = WriteNewFile(inFileSystem, temporary, inBytes);
    if (error == 0)
        error = inFileSystem.Rename(temporary, inPath, RenameMode::kReplace);
    if (error != 0)
        inFileSystem.RemoveFile(temporary);
    return error;
}

} // namespace Platform
