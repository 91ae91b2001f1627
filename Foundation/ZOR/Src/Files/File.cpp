#include "ZOR/File.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <random>
#include <utility>

#include <boost/optional.hpp>

#include "BufferedReader.h"
#include "FileError.h"
#include "Platform/FileSystem.h"
#include "ZOR/PathUtils.h"
#include "qelcore/TextConversion.h"

namespace ZOR
{
namespace
{

using Platform::FileAccess;
using Platform::FileCreation;
using qelcore::Result;
using qelcore::UTF16String;
using qelcore::utility::UTF16ToFileName;

constexpr char16_t kTempPrefix[] = u".RK-";
constexpr char16_t kTempExtension[] = u".tmp";
constexpr std::size_t kTempDigits = 32; // of 4 bits
constexpr char16_t kHexDigits[] = u"0123456789abcdef";

boost::optional<FileAccess> AccessOf(FileAccessFlags inFlags)
{
    switch (static_cast<std::uint32_t>(inFlags))
    {
    case kFileAccess_Read:
        return FileAccess::kRead;
    case kFileAccess_Write:
        return FileAccess::kWrite;
    case kFileAccess_Read | kFileAccess_Write:
        return FileAccess::kReadWrite;
    default:
        return boost::none;
    }
}

boost::optional<FileCreation> CreationOf(FileCreateDispositionFlags inFlags)
{
    switch (static_cast<std::uint32_t>(inFlags))
    {
    case kFileCreate_Always:
        return FileCreation::kCreateOrTruncate;
    case kFileCreate_New:
        return FileCreation::kMustCreate;
    case kFileCreate_OpenAlways:
        return FileCreation::kOpenOrCreate;
    case kFileCreate_OpenExisting:
        return FileCreation::kMustExist;
    case kFileCreate_Truncate:
        return FileCreation::kTruncateExisting;
    default:
        return boost::none;
    }
}

/// To empty a file that is opened for reading alone is left open by the system: refused.
bool Empties(FileCreation inCreation)
{
    return inCreation == FileCreation::kCreateOrTruncate ||
           inCreation == FileCreation::kTruncateExisting;
}

/// From the kernel's generator: the processor's own costs twenty times as much, and more under a hypervisor.
UTF16String RandomDigits()
{
    std::random_device source("getentropy");
    UTF16String digits;
    while (digits.size() < kTempDigits)
    {
        std::uint32_t bits = source();
        for (int i = 0; i < 8; ++i, bits >>= 4)
            digits += kHexDigits[bits & 15];
    }
    return digits;
}

/// Goes on until inAtLeast bytes are there or the file ends.
Result ReadUntil(Platform::FileHandle inFile, void* outBytes, std::size_t inAtLeast,
                 std::size_t inSize, std::size_t& outGot)
{
    outGot = 0;
    while (outGot < inAtLeast)
    {
        std::size_t got = 0;
        const int error = Platform::FileSystem().Read(inFile, static_cast<char*>(outBytes) + outGot,
                                                      inSize - outGot, got);
        if (error != 0)
            return ResultOfError(error);
        if (got == 0)
            break; // the end of the file
        outGot += got;
    }
    return qelcore::kResult_OK;
}

Result SizeOf(int inError, const Platform::FileStatus& inStatus, std::uint64_t& outSize)
{
    if (inError != 0)
        return ResultOfError(inError);
    if (inStatus.kind == Platform::FileKind::kDirectory)
        return kFileResult_IsDirectory;
    outSize = inStatus.size;
    return qelcore::kResult_OK;
}

UTF16String TempPathIn(const UTF16String& inFolder)
{
    return inFolder + kTempPrefix + RandomDigits() + kTempExtension;
}

bool IsHexDigit(char16_t inUnit)
{
    return (inUnit >= u'0' && inUnit <= u'9') || (inUnit >= u'a' && inUnit <= u'f');
}

} // namespace

File::File() noexcept = default;

File::~File()
{
    Close();
}

File::File(File&& ioOther) noexcept
    : mFile(std::exchange(ioOther.mFile, Platform::kNoFile))
    , mReader(std::move(ioOther.mReader))
{
}

File& File::operator=(File&& ioOther) noexcept
{
    File taken(std::move(ioOther));
    std::swap(mFile, taken.mFile);
    std::swap(mReader, taken.mReader);
    return *this;
}

Result File::Create(const UTF16String& inPath, FileAccessFlags inAccess, FileShareModeFlags,
                    FileCreateDispositionFlags inDisposition, FileAttributesFlags inAttributes,
                    bool inBuffered)
{
    if (IsOpen())
        return kFileResult_AlreadyOpen;
    const boost::optional<FileAccess> access = AccessOf(inAccess);
    const boost::optional<FileCreation> creation = CreationOf(inDisposition);
    if (!access || !creation || (*access == FileAccess::kRead && Empties(*creation)))
        return kFileResult_BadArgument;
    Platform::OpenOptions options;
    options.access = *access;
    options.creation = *creation;
    options.sequential = (inAttributes & kFileAttributes_Sequential) != 0;
    options.neverWaits = (inAttributes & kFileAttributes_NoWait) != 0;
    if (const int error = Platform::FileSystem().Open(UTF16ToFileName(inPath), options, mFile))
        return ResultOfError(error);
    if (inBuffered && *access == FileAccess::kRead)
        mReader = BufferedReader::Create(mFile, inPath);
    return qelcore::kResult_OK;
}

Result File::Read(void* outBytes, std::size_t inSize, std::size_t& outGot)
{
    outGot = 0;
    if (!IsOpen())
        return kFileResult_NotOpen;
    if (mReader)
        return mReader->Read(outBytes, inSize, outGot);
    return ReadUntil(mFile, outBytes, inSize, inSize, outGot);
}

Result File::ReadAtLeast(void* outBytes, std::size_t inAtLeast, std::size_t inSize,
                         std::size_t& outGot)
{
    outGot = 0;
    if (!IsOpen())
        return kFileResult_NotOpen;
    const Result result = ReadUntil(mFile, outBytes, inAtLeast, inSize, outGot);
    return qelcore::Failed(result) || outGot >= inAtLeast ? result
                                                          : qelcore::kResult_GeneralFailure;
}

Result File::ReadAt(std::uint64_t inOffset, void* outBytes, std::size_t inSize, std::size_t& outGot)
{
    outGot = 0;
    if (!IsOpen())
        return kFileResult_NotOpen;
    if (inOffset > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
        return kFileResult_BadArgument;
    return mReader ? mReader->ReadAt(inOffset, outBytes, inSize, outGot)
                   : ReadFullyAt(mFile, inOffset, outBytes, inSize, outGot);
}

Result File::Write(const void* inBytes, std::size_t inSize, std::size_t& outPut)
{
    outPut = 0;
    if (!IsOpen())
        return kFileResult_NotOpen;
    while (outPut < inSize)
    {
        std::size_t put = 0;
        const int error = Platform::FileSystem().Write(
            mFile, static_cast<const char*>(inBytes) + outPut, inSize - outPut, put);
        if (error != 0)
            return ResultOfError(error);
        if (put == 0)
            return qelcore::kResult_GeneralFailure; // or it would try for ever
        outPut += put;
    }
    return qelcore::kResult_OK;
}

Result File::SyncBytes()
{
    return IsOpen() ? ResultOfError(Platform::FileSystem().SyncBytes(mFile)) : kFileResult_NotOpen;
}

Result File::BeginSyncBytes()
{
    return IsOpen() ? ResultOfError(Platform::FileSystem().BeginSyncBytes(mFile))
                    : kFileResult_NotOpen;
}

Result File::GetSize(std::uint64_t& outSize) const
{
    if (!IsOpen())
        return kFileResult_NotOpen;
    Platform::FileStatus status;
    return SizeOf(Platform::FileSystem().StatOpen(mFile, status), status, outSize);
}

Result File::GetVolumeFreeSpace(std::uint64_t& outBytes) const
{
    if (!IsOpen())
        return kFileResult_NotOpen;
    Platform::VolumeTraits volume;
    const int error = Platform::FileSystem().VolumeOf(mFile, volume);
    if (error == 0)
        outBytes = volume.freeBytes;
    return ResultOfError(error);
}

Result File::Close()
{
    if (!IsOpen())
        return kFileResult_NotOpen;
    mReader.reset();
    return ResultOfError(Platform::FileSystem().Close(std::exchange(mFile, Platform::kNoFile)));
}

Result File::Delete(const UTF16String& inPath)
{
    return ResultOfError(Platform::FileSystem().RemoveFile(UTF16ToFileName(inPath)));
}

Result File::Move(const UTF16String& inFrom, const UTF16String& inTo)
{
    return ResultOfError(Platform::RenameWithoutReplacing(
        Platform::FileSystem(), UTF16ToFileName(inFrom), UTF16ToFileName(inTo)));
}

UTF16String File::MakeUniqueTempPath(const UTF16String& inPath)
{
    const UTF16String folder = PathUtils::GetFullDirectoryPart(inPath);
    UTF16String path;
    do
    {
        path = TempPathIn(folder);
    } while (PathUtils::ExistsOnDisk(path, PathUtils::kExistsOnDisk_LinkItself));
    return path;
}

Result File::CreateTemp(const UTF16String& inPath, UTF16String& outTempPath)
{
    const UTF16String folder = PathUtils::GetFullDirectoryPart(inPath);
    UTF16String path;
    Result result = kFileResult_AlreadyExists;
    while (result == kFileResult_AlreadyExists)
    {
        path = TempPathIn(folder);
        result = Create(path, kFileAccess_Write, kFileShareMode_None, kFileCreate_New,
                        kFileAttributes_Normal, false);
    }
    if (!qelcore::Failed(result))
        outTempPath = path;
    return result;
}

bool File::IsTempPath(const UTF16String& inPath)
{
    const UTF16String prefix(kTempPrefix);
    const UTF16String extension(kTempExtension);
    const UTF16String name = PathUtils::GetFullFilePart(inPath);
    return name.size() == prefix.size() + kTempDigits + extension.size() &&
           name.compare(0, prefix.size(), prefix) == 0 &&
           name.compare(prefix.size() + kTempDigits, extension.size(), extension) == 0 &&
           std::all_of(name.begin() + prefix.size(), name.end() - extension.size(), IsHexDigit);
}

Result File::SizeOnDisk(const UTF16String& inPath, std::uint64_t& outSize)
{
    Platform::FileStatus status;
    const int error =
        Platform::FileSystem().Stat(UTF16ToFileName(inPath), Platform::LinkPolicy::kFollow, status);
    return SizeOf(error, status, outSize);
}

} // namespace ZOR
