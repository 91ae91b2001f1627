#include "RKStillSequence.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <stdexcept>

#include <boost/date_time/posix_time/posix_time.hpp>
#include <boost/functional/hash.hpp>
#include <boost/unordered_map.hpp>

#include "ZOR/PathUtils.h"
#include "qelcore/CaseFolding.h"
#include "qelcore/MixHash.h"
#include "qelcore/NumberText.h"
#include "qelcore/TextConversion.h"
#include "qelcore/Trace.h"

namespace RK
{

using qelcore::UTF16String;
using qelcore::filesupport::Dir;
using qelcore::filesupport::File;
using qelcore::filesupport::FileIterator;
using qelcore::utility::Coercion;
using qelcore::utility::Guid;
using qelcore::utility::MixHash;
using qelcore::utility::ToNumericCase;

namespace
{

// The characters that the default locale's table of characters up to 255 marks as digits.
bool IsDigit(char16_t inUnit)
{
    return inUnit >= u'0' && inUnit <= u'9';
}

UTF16String NumberText(long long inNumber)
{
    const std::string text = std::to_string(inNumber);
    return UTF16String(text.begin(), text.end());
}

void PadWithZeros(UTF16String& ioText, std::size_t inWidth)
{
    if (ioText.size() < inWidth)
        ioText.insert(0, inWidth - ioText.size(), u'0');
}

int LimitToInt(long long inNumber)
{
    return static_cast<int>(std::clamp<long long>(inNumber, INT_MIN, INT_MAX));
}

/// inA + inB; beyond 64 bits it wraps.
long long WrappingSum(long long inA, long long inB)
{
    return static_cast<long long>(static_cast<unsigned long long>(inA) +
                                  static_cast<unsigned long long>(inB));
}

/// The files of a folder by their full paths: one listing instead of a look at the disk for each frame.
using FilesByPath = boost::unordered_map<UTF16String, File, boost::hash<UTF16String>>;

FilesByPath ListFiles(const Dir& inFolder)
{
    FilesByPath files;
    const FileIterator end = inFolder.EndFiles();
    for (FileIterator file = inFolder.BeginFiles(); file != end; ++file)
        files.emplace(file->FullPath(), *file);
    return files;
}

// The hash of a modification state. Its fourth word also counts the bytes mixed, on top of what the
// mixing makes of it.
class StateHash
{
public:
    StateHash()
    {
        static constexpr char kName[] = "RK.StillSequence.ModState";
        mValue[3] = sizeof kName - 1;
        Mix(kName, sizeof kName - 1);
    }
    void MixMissingFile()
    {
        static constexpr char16_t kMissing[] = u"Missing File";
        Mix(kMissing, sizeof kMissing - sizeof kMissing[0]);
    }
    /// Nothing if the file is not there.
    void MixModified(const File& inFile)
    {
        if (!inFile.Exists())
            return;
        const std::string time = boost::posix_time::to_simple_string(inFile.Modified());
        Mix(time.data(), time.size());
    }
    Guid ToGuid() const { return MixHash::ToGuid(mValue); }

private:
    void Mix(const void* inBytes, std::size_t inLength)
    {
        MixHash::MixInData(mValue, inBytes, inLength);
        mValue[3] += static_cast<std::uint32_t>(inLength);
    }

    MixHash::HashValue mValue{};
};

// The pointer destroys the object as what it was made as, so that the destructor need not be virtual.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdelete-non-virtual-dtor"

template <class... Arguments>
StillSequencePtr MakeStillSequence(const Arguments&... inArguments)
{
    return StillSequencePtr(new StillSequence(inArguments...),
                            [](StillSequence* inSequence) { delete inSequence; });
}

#pragma GCC diagnostic pop

} // namespace

StillSequence::StillSequence() = default;

StillSequence::StillSequence(const Dir& inFolder, const UTF16String& inPrefix,
                             const UTF16String& inSuffix, int inFirst, int inLast, int inWidth,
                             bool inZeroPadded)
    : mContainingFolder(inFolder)
    , mType(kStillSequenceType_Numeric)
    , mPrefix(inPrefix)
    , mSuffix(inSuffix)
    , mFirstNumber(inFirst)
    , mLastNumber(inLast)
    , mNumberWidth(inWidth)
    , mZeroPadded(inZeroPadded)
{
}

StillSequence::StillSequence(const Dir& inFolder, const std::vector<UTF16String>& inFileNames)
    : mContainingFolder(inFolder)
    , mType(kStillSequenceType_Alpha)
    , mFileList(inFileNames)
{
}

StillSequence::StillSequence(const Dir& inFolder, const UTF16String& inFirstFileName)
    : mContainingFolder(inFolder)
    , mType(kStillSequenceType_Classic)
    , mFirstFileName(inFirstFileName)
{
    mClassicFrameCount = CountClassicStillSequenceFrames();
    if (mClassicFrameCount < 2)
        mType = kStillSequenceType_None;
}

StillSequence::StillSequence(const Dir& inFolder, const std::vector<UTF16String>& inPaths,
                             const UTF16String& inDisplayName)
    : mContainingFolder(inFolder)
    , mType(kStillSequenceType_PathList)
    , mFileList(inPaths)
    , mDisplayName(inDisplayName)
{
}

StillSequencePtr StillSequence::MakeDefaultStillSequencePtr()
{
    return MakeStillSequence();
}

StillSequenceType StillSequence::GetStillSequenceType() const
{
    return static_cast<StillSequenceType>(mType);
}

void StillSequence::GetContainingFolder(Dir& outFolder) const
{
    outFolder = mContainingFolder;
}

void StillSequence::SetContainingFolder(const Dir& inFolder)
{
    mContainingFolder = inFolder;
}

qelcore::Result StillSequence::GetNumericItems(UTF16String& outPrefix, UTF16String& outSuffix,
                                               int& outFirst, int& outLast, int& outWidth,
                                               bool& outZeroPadded) const
{
    outPrefix = mPrefix;
    outSuffix = mSuffix;
    outFirst = mFirstNumber;
    outLast = mLastNumber;
    outWidth = mNumberWidth;
    outZeroPadded = mZeroPadded;
    return qelcore::kResult_OK;
}

int StillSequence::GetNumberOfFrames() const
{
    switch (mType)
    {
    case kStillSequenceType_Classic:
        return mClassicFrameCount;
    case kStillSequenceType_Numeric:
        return LimitToInt(mLastNumber + 1LL - mFirstNumber);
    case kStillSequenceType_Alpha:
    case kStillSequenceType_PathList:
        return static_cast<int>(mFileList.size());
    default:
        return 1;
    }
}

qelcore::Result StillSequence::GenerateNthFileName(int inN, UTF16String& outPath) const
{
    const int listSize = static_cast<int>(mFileList.size());
    switch (mType)
    {
    case kStillSequenceType_Classic:
        IncrementClassicStillSequencePath(FolderWithSlash() + mFirstFileName, outPath,
                                          std::min(inN, mClassicFrameCount));
        break;
    case kStillSequenceType_Numeric:
    {
        const int lastFrame = LimitToInt(static_cast<long long>(mLastNumber) - mFirstNumber);
        UTF16String name;
        GenerateNthNumericFileName(std::min(inN, lastFrame), mPrefix, mSuffix, mFirstNumber,
                                   mNumberWidth, mZeroPadded, name);
        outPath = FolderWithSlash() + name;
        break;
    }
    // The limit of both lists is their size, not their last index: it is the caller who keeps below it.
    case kStillSequenceType_Alpha:
        outPath =
            FolderWithSlash() + mFileList.at(static_cast<std::size_t>(std::min(inN, listSize)));
        break;
    case kStillSequenceType_PathList:
        if (listSize > 0)
            outPath = mFileList.at(static_cast<std::size_t>(std::min(inN, listSize)));
        break;
    default:
        break;
    }
    return qelcore::kResult_OK;
}

void StillSequence::GenerateNthNumericFileName(int inN, const UTF16String& inPrefix,
                                               const UTF16String& inSuffix, int inFirst,
                                               int inWidth, bool inZeroPadded, UTF16String& outName)
{
    UTF16String number;
    GeneratePaddedNumberString(static_cast<long long>(inN) + inFirst, inWidth, inZeroPadded,
                               number);
    outName = inPrefix + number + inSuffix;
}

void StillSequence::GeneratePaddedNumberString(long long inNumber, int inWidth, bool inZeroPadded,
                                               UTF16String& outText)
{
    outText = NumberText(inNumber);
    if (inZeroPadded && inWidth > 0)
        PadWithZeros(outText, static_cast<std::size_t>(inWidth));
}

bool StillSequence::IncrementClassicStillSequencePath(const UTF16String& inPath,
                                                      UTF16String& outPath, int inN) const
{
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): outPath may be the same object
    const UTF16String path = inPath;
    if (inN == 0)
    {
        outPath = path;
        return false;
    }
    outPath.clear();

    const std::size_t dot = path.rfind(u'.');
    const UTF16String stem = path.substr(0, dot);
    const UTF16String extension = path.substr(dot); // throws if there is no dot
    std::size_t runLength = 0;
    while (runLength < stem.size() && IsDigit(ToNumericCase(stem[stem.size() - 1 - runLength])))
        ++runLength;
    // The character before the run must be the second one or a later one.
    if (stem.size() < runLength + 2)
        return false;

    const std::size_t runStart = stem.size() - runLength;
    const long long number = Coercion<long long>::Result(ToNumericCase(stem.substr(runStart)));
    UTF16String sum = NumberText(WrappingSum(number, inN));
    PadWithZeros(sum, runLength);
    outPath = stem.substr(0, runStart) + sum + extension;
    return true;
}

bool StillSequence::IsIncrementalFilePath(const UTF16String& inPath)
{
    const std::size_t dot = inPath.rfind(u'.');
    const std::size_t backslash = inPath.rfind(u'\\');
    const std::size_t start = backslash == UTF16String::npos ? 0 : backslash + 1;
    if (dot == UTF16String::npos || dot < start)
        throw std::out_of_range(
            "RK::StillSequence::IsIncrementalFilePath: no dot in the file's name");
    return dot > start && IsDigit(ToNumericCase(inPath[dot - 1]));
}

int StillSequence::CountClassicStillSequenceFrames()
{
    UTF16String path = FolderWithSlash() + mFirstFileName;
    if (!ZOR::PathUtils::ExistsOnDisk(path, 0))
        return 0;
    if (!IsIncrementalFilePath(path))
        return 1;
    int count = 1;
    IncrementClassicStillSequencePath(path, path, 1);
    while (ZOR::PathUtils::ExistsOnDisk(path, 0))
    {
        ++count;
        IncrementClassicStillSequencePath(path, path, 1);
    }
    return count;
}

qelcore::Result StillSequence::GetAlphaFileList(std::vector<UTF16String>& outList) const
{
    outList = mFileList;
    return qelcore::kResult_OK;
}

void StillSequence::GetDisplayName(UTF16String& outName) const
{
    switch (mType)
    {
    case kStillSequenceType_Numeric:
    {
        UTF16String first;
        UTF16String last;
        GeneratePaddedNumberString(mFirstNumber, mNumberWidth, mZeroPadded, first);
        GeneratePaddedNumberString(mLastNumber, mNumberWidth, mZeroPadded, last);
        outName = mPrefix + u"[" + first + u"-" + last + u"]" + mSuffix;
        break;
    }
    case kStillSequenceType_Alpha:
        outName = mContainingFolder.GetName();
        break;
    case kStillSequenceType_PathList:
        outName = mDisplayName;
        break;
    default:
        outName = mFirstFileName;
        break;
    }
}

void StillSequence::GetPrefix(UTF16String& outPrefix) const
{
    outPrefix = mPrefix;
}

Guid StillSequence::GetModificationState(const RelatedPathFunction& inToRelatedPath) const
{
    try
    {
        return ComputeModificationState(inToRelatedPath);
    }
    catch (...)
    {
        RK_TRACE("RK::StillSequence", 0,
                 "An exception was thrown while generating the mod state guid.");
    }
    return Guid();
}

Guid StillSequence::ComputeModificationState(const RelatedPathFunction& inToRelatedPath) const
{
    if (mType == kStillSequenceType_None)
        return Guid();
    const FilesByPath files = ListFiles(mContainingFolder);
    StateHash hash;
    const int frameCount = GetNumberOfFrames();
    const UTF16String* firstFound = nullptr;
    UTF16String path;
    for (int frame = 0; frame < frameCount; ++frame)
    {
        GenerateNthFileName(frame, path);
        const FilesByPath::const_iterator found = files.find(path);
        if (found == files.end())
        {
            hash.MixMissingFile();
            continue;
        }
        if (!firstFound)
            firstFound = &found->first;
        hash.MixModified(found->second);
    }
    if (!firstFound)
        return Guid();
    if (inToRelatedPath)
        hash.MixModified(File(inToRelatedPath(*firstFound)));
    return hash.ToGuid();
}

// A folder's path without a name behind it is empty, and then names are relative.
UTF16String StillSequence::FolderWithSlash() const
{
    return ZOR::PathUtils::AddTrailingSlash(mContainingFolder.FullPath());
}

bool StillSequence::ParseNumericFileName(const UTF16String& inPath, UTF16String& ioPrefix,
                                         UTF16String& outSuffix, UTF16String& outNumber)
{
    // Digits are looked for in the form that has them all as ASCII. Prefix and suffix are taken from
    // the name as it stands: file names differ by case.
    const UTF16String name = ZOR::PathUtils::GetFilePart(inPath);
    const UTF16String numericName = ToNumericCase(name);
    const auto lastDigit = std::find_if(numericName.rbegin(), numericName.rend(), IsDigit);
    if (lastDigit == numericName.rend())
        return false;
    const auto beforeRun = std::find_if_not(lastDigit, numericName.rend(), IsDigit);
    const std::size_t runEnd = static_cast<std::size_t>(numericName.rend() - lastDigit);
    const std::size_t runStart = static_cast<std::size_t>(numericName.rend() - beforeRun);

    outSuffix = name.substr(runEnd) + ZOR::PathUtils::GetExtensionPart(inPath);
    if (runStart > 0)
        ioPrefix = name.substr(0, runStart);
    // As many characters as the run's end is from the start of the name, so that text behind the run may
    // be in it. The number's value is the same, and stored widths of padding depend on it.
    outNumber = numericName.substr(runStart, runEnd);
    return !outNumber.empty();
}

StillSequencePtr CreateStillSequenceFromExampleFile(const UTF16String& inPath)
{
    UTF16String prefix;
    UTF16String suffix;
    UTF16String number;
    if (!StillSequence::ParseNumericFileName(inPath, prefix, suffix, number))
        return StillSequencePtr();
    int first = Coercion<int>::Result(number);
    int last = first;
    std::size_t width = number.size();
    bool zeroPadded = false;

    const Dir folder(ZOR::PathUtils::GetFullDirectoryPart(inPath));
    const FileIterator end = folder.EndFiles();
    for (FileIterator file = folder.BeginFiles(); file != end; ++file)
    {
        const UTF16String name = file->GetName();
        // Cheap, and passes over most of what lies in a folder of many sequences.
        if (name.compare(0, prefix.size(), prefix) != 0)
            continue;
        UTF16String filePrefix;
        UTF16String fileSuffix;
        UTF16String fileNumber;
        if (!StillSequence::ParseNumericFileName(name, filePrefix, fileSuffix, fileNumber) ||
            filePrefix != prefix || fileSuffix != suffix)
            continue;
        const int value = Coercion<int>::Result(fileNumber);
        last = std::max(last, value);
        width = std::max(width, fileNumber.size());
        if (value <= first)
        {
            first = value;
            zeroPadded = fileNumber.front() == u'0';
        }
    }
    return MakeStillSequence(folder, prefix, suffix, first, last, static_cast<int>(width),
                             zeroPadded);
}

} // namespace RK
