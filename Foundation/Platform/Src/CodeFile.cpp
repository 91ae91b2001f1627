#include "Platform/CodeFile.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <system_error>

#include "ElfFile.h"
#include "Platform/FileSystem.h"

namespace Platform
{
namespace
{

#if defined(__x86_64__)
constexpr const char* kFolders[] = {"Contents/Linux-x86_64/", "Contents/Linux/"};
#elif defined(__aarch64__)
constexpr const char* kFolders[] = {"Contents/Linux-aarch64/", "Contents/Linux/"};
#endif

CodeFault Refused(const std::string& inPath, int inError, std::string& outText)
{
    outText = inPath + ": " + std::generic_category().message(inError);
    return inError == ENOENT || inError == ENOTDIR ? CodeFault::kMissing : CodeFault::kUnreadable;
}

// A file held open, as far as it reached when it was opened.
class FileBytes : public IByteSource
{
public:
    ~FileBytes() override
    {
        if (mFile != kNoFile)
            FileSystem().Close(mFile);
    }
    FileBytes() = default;
    FileBytes(const FileBytes&) = delete;
    FileBytes& operator=(const FileBytes&) = delete;

    CodeFault Open(const std::string& inPath, std::string& outText)
    {
        OpenOptions options;
        options.neverWaits = true; // whatever lies there: a pipe would wait for its other end
        FileStatus status;
        int error = FileSystem().Open(inPath, options, mFile);
        if (error == 0)
            error = FileSystem().StatOpen(mFile, status);
        if (error != 0)
            return Refused(inPath, error, outText);
        if (status.kind != FileKind::kFile)
        {
            outText = inPath + ": no shared object: it is no regular file";
            return CodeFault::kNoCode;
        }
        mSize = status.size;
        return CodeFault::kNone;
    }

    std::uint64_t Size() const override { return mSize; }

    int Read(std::uint64_t inOffset, void* outBytes, std::size_t inSize) override
    {
        char* const bytes = static_cast<char*>(outBytes);
        for (std::size_t done = 0; done < inSize;)
        {
            std::size_t got = 0;
            if (const int error =
                    FileSystem().ReadAt(mFile, inOffset + done, bytes + done, inSize - done, got))
                return error;
            if (got == 0)
                return EIO; // cut short meanwhile
            done += got;
        }
        return 0;
    }

private:
    FileHandle mFile = kNoFile;
    std::uint64_t mSize = 0;
};

std::string BundleName(const std::string& inFolder)
{
    std::string name = inFolder.substr(inFolder.rfind('/') + 1);
    const std::size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

/// Reads the header, and then has inLook tell the fault.
template <class Look>
CodeFault LookInto(const std::string& inFile, std::string& outText, const Look& inLook)
{
    outText.clear();
    FileBytes bytes;
    if (const CodeFault fault = bytes.Open(inFile, outText); fault != CodeFault::kNone)
        return fault;
    ElfFile elf(bytes);
    CodeFault fault = elf.ReadHeader();
    if (fault == CodeFault::kNone)
        fault = inLook(elf, bytes);
    if (fault != CodeFault::kNone)
        outText = inFile + ": " + elf.Problem();
    return fault;
}

} // namespace

std::string AbsolutePath(const std::string& inPath)
{
    std::string folder;
    if (inPath.empty() || inPath.front() == '/' || FileSystem().CurrentDirectory(folder) != 0)
        return inPath;
    return folder == "/" ? folder + inPath : folder + '/' + inPath;
}

CodeFault FindCodeFile(const std::string& inPath, std::string& outFile, std::string& outText)
{
    outText.clear();
    outFile = AbsolutePath(inPath);
    while (outFile.size() > 1 && outFile.back() == '/')
        outFile.pop_back();
    FileStatus status;
    if (const int error = FileSystem().Stat(outFile, LinkPolicy::kFollow, status))
        return Refused(outFile, error, outText);
    if (status.kind != FileKind::kDirectory)
        return CodeFault::kNone;
    const std::string bundle = outFile;
    for (const char* const folder : kFolders)
    {
        outFile = bundle + '/' + folder + BundleName(bundle) + ".so";
        if (FileSystem().Stat(outFile, LinkPolicy::kFollow, status) == 0)
            return CodeFault::kNone;
    }
    outText = bundle + ": a folder without code: there is no " + outFile.substr(bundle.size() + 1);
    return CodeFault::kNoCode;
}

CodeFault CheckCodeFile(const std::string& inFile, std::string& outText)
{
    return LookInto(inFile, outText,
                    [](ElfFile& inElf, IByteSource&) { return inElf.CheckLoadable(); });
}

CodeFault ReadCodeBytes(const std::string& inFile, const std::string& inSection,
                        const std::string& inObject, std::size_t inMaxBytes, std::string& outBytes,
                        std::string& outText)
{
    outBytes.clear();
    int error = 0;
    bool tooLong = false;
    const CodeFault fault =
        LookInto(inFile, outText,
                 [&](ElfFile& inElf, IByteSource& inBytes)
                 {
                     std::optional<ByteRange> range;
                     CodeFault found = inElf.FindSection(inSection, range);
                     if (found == CodeFault::kNone && !range)
                         found = inElf.FindObject(inObject, range);
                     if (found != CodeFault::kNone || !range)
                         return found;
                     tooLong = range->size > inMaxBytes;
                     outBytes.resize(tooLong ? 0 : range->size);
                     error = inBytes.Read(range->offset, outBytes.data(), outBytes.size());
                     return CodeFault::kNone;
                 });
    if (tooLong)
    {
        outText = inFile + ": damaged: " + inSection + " is longer than " +
                  std::to_string(inMaxBytes) + " bytes";
        return CodeFault::kDamaged;
    }
    if (error != 0)
    {
        outBytes.clear();
        return Refused(inFile, error, outText);
    }
    return fault;
}

} // namespace Platform
