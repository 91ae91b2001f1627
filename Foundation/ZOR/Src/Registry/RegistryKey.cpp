#include "ZOR/RegistryKey.h"

#include <algorithm>
#include <map>
#include <memory>
#include <utility>

#include "RegistryFile.h"
#include "RegistryStore.h"
#include "qelcore/ClientName.h"
#include "qelcore/RecursiveMutex.h"
#include "qelcore/TextConversion.h"
#include "qelcore/Trace.h"

namespace ZOR
{
namespace
{

using qelcore::Result;
using qelcore::UTF16String;
using FilePtr = std::shared_ptr<const RegistryFile>;

// A key's path, taken apart: the file that it lies in, and the section there.
struct Place
{
    std::string path;
    std::string section;
};

void TraceProblems(const std::string& inPath, const RegistryFile& inFile)
{
    for (const RegistryFile::Problem& problem : inFile.Problems())
        RK_TRACE("ZOR::RegistryKey", 0,
                 "Passed over in " << inPath << ", line " << problem.line << ": "
                                   << problem.message);
}

// The files read, as they were at their last state. Never destroyed: keys are read during exit,
// too.
class FileCache
{
public:
    /// @return null if there is no file that can be read.
    FilePtr Get(const std::string& inPath)
    {
        const RegistryFileStamp stamp = RegistryStore().Stamp(inPath);
        bool isNew = false;
        const FilePtr file = GetAt(inPath, stamp, isNew);
        // Behind the lock, as a sink of the trace may ask for values itself.
        if (isNew && file)
            TraceProblems(inPath, *file);
        else if (isNew)
            RK_TRACE("ZOR::RegistryKey", 0, "Cannot read " << inPath);
        return file;
    }

    /// Changes a file from what it holds now, made if there is none. One change at a time.
    template <class Change>
    Result Rewrite(const std::string& inPath, const Change& inChange)
    {
        const qelcore::threads::RecursiveMutex::ScopedLock lock(mMutex, "FileCache::Rewrite");
        mEntries.erase(inPath); // whatever its stamp will be, our own write is not missed
        const bool exists = RegistryStore().Stamp(inPath).exists;
        const FilePtr before = exists ? Read(inPath) : std::make_shared<const RegistryFile>();
        if (!before)
            return kResult_RegistryNotWritten; // not over what could not be read
        RegistryFile file = *before;
        const Result result = inChange(file);
        if (qelcore::Failed(result))
            return result;
        const std::string text = file.Text();
        if (text.size() > kMaxRegistryBytes || !RegistryStore().Write(inPath, text))
            return kResult_RegistryNotWritten;
        return qelcore::kResult_OK;
    }

private:
    struct Entry
    {
        bool wasAsked = false;
        std::uint32_t generation = 0; // of the store
        RegistryFileStamp stamp;
        FilePtr file;
    };

    FilePtr GetAt(const std::string& inPath, const RegistryFileStamp& inStamp, bool& outIsNew)
    {
        const std::uint32_t generation = RegistryStoreGeneration();
        const qelcore::threads::RecursiveMutex::ScopedLock lock(mMutex, "FileCache::GetAt");
        Entry& entry = mEntries[inPath];
        const bool isOther =
            !entry.wasAsked || entry.generation != generation || !(entry.stamp == inStamp);
        outIsNew = isOther && inStamp.exists;
        // The stamp was taken first: a file that has changed since is read again the next time.
        if (isOther)
            entry = {true, generation, inStamp, inStamp.exists ? Read(inPath) : nullptr};
        return entry.file;
    }

    static FilePtr Read(const std::string& inPath)
    {
        std::string bytes;
        if (!RegistryStore().Read(inPath, kMaxRegistryBytes, bytes))
            return nullptr;
        return std::make_shared<const RegistryFile>(RegistryFile::Parse(bytes));
    }

    // Held while a file is read or written, so that each state is read once. Nothing but the store
    // is called with it held.
    qelcore::threads::RecursiveMutex mMutex;
    std::map<std::string, Entry> mEntries RK_GUARDED_BY(mMutex);
};

FileCache& Files()
{
    static FileCache& sFiles = *new FileCache;
    return sFiles;
}

bool ToUTF8(const UTF16String& inText, std::string& outText)
{
    qelcore::utility::ConversionError error;
    outText = qelcore::utility::UTF16ToNarrow(inText, &error);
    return error.code == qelcore::utility::ConversionErrorCode::kNone;
}

bool IsFolderName(const std::string& inName)
{
    for (const char byte : inName)
        if (static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F || byte == '/')
            return false;
    return !inName.empty() && inName != "." && inName != "..";
}

Result FindPlace(const UTF16String& inPath, Place& outPlace)
{
    const std::size_t end = std::min(inPath.find(u'/'), inPath.size());
    const std::string application = qelcore::utility::UTF16ToFileName(inPath.substr(0, end));
    if (!IsFolderName(application))
        return kResult_RegistryBadName;
    if (end != inPath.size() &&
        (!ToUTF8(inPath.substr(end + 1), outPlace.section) || !IsRegistrySection(outPlace.section)))
        return kResult_RegistryBadName;
    const std::string folder = RegistryStore().ConfigFolder();
    if (folder.empty())
        return kResult_RegistryNoKey;
    outPlace.path = folder + '/' + application + "/registry.conf";
    return qelcore::kResult_OK;
}

// What a text value must not hold is made harmless.
std::string CleanText(const UTF16String& inText)
{
    std::string text = qelcore::utility::UTF16ToNarrow(inText);
    for (char& byte : text)
        if ((static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F) && byte != '\t' &&
            byte != '\n' && byte != '\r')
            byte = ' ';
    return text;
}

} // namespace

class RegistryKey::Impl
{
public:
    Impl(const Place& inPlace, const FilePtr& inFile)
        : mPlace(inPlace)
        , mFile(inFile)
    {
    }

    template <class T>
    Result Get(const UTF16String& inName, T& outValue) const
    {
        std::string name;
        const RegistryValue* const value =
            mFile && ToUTF8(inName, name) ? mFile->Find(mPlace.section, name) : nullptr;
        if (!value)
            return kResult_RegistryNoValue;
        const T* const found = std::get_if<T>(value);
        if (!found)
            return kResult_RegistryOtherType;
        outValue = *found;
        return qelcore::kResult_OK;
    }

    template <class Change>
    Result Rewrite(const UTF16String& inName, const Change& inChange)
    {
        std::string name;
        if (!ToUTF8(inName, name) || !IsRegistryName(name))
            return kResult_RegistryBadName;
        const Result result = Files().Rewrite(mPlace.path, [&](RegistryFile& ioFile)
                                              { return inChange(ioFile, mPlace.section, name); });
        if (!qelcore::Failed(result))
            mFile = Files().Get(mPlace.path);
        return result;
    }

private:
    const Place mPlace;
    FilePtr mFile; // null while there is no file
};

UTF16String GetRegistryBaseKey()
{
    UTF16String key = qelcore::config::GetClientName();
    for (char16_t& unit : key)
        if (unit < 0x20 || unit == 0x7F || unit == u'/')
            unit = u'_';
    if (key.find_first_not_of(u'.') == UTF16String::npos) // nothing, "." and ".." too
        key.insert(0, 1, u'_');
    return key;
}

RegistryKey::RegistryKey() = default;
RegistryKey::~RegistryKey() = default;

Result RegistryKey::Open(RegistryRoot, const UTF16String& inPath)
{
    mImpl.reset();
    Place place;
    const Result result = FindPlace(inPath, place);
    if (qelcore::Failed(result))
        return result;
    const FilePtr file = Files().Get(place.path);
    if (!file || !file->HasSection(place.section))
        return kResult_RegistryNoKey;
    mImpl = std::make_unique<Impl>(place, file);
    return qelcore::kResult_OK;
}

Result RegistryKey::CreateOrOpen(RegistryRoot, const UTF16String& inPath)
{
    mImpl.reset();
    Place place;
    const Result result = FindPlace(inPath, place);
    if (qelcore::Failed(result))
        return result;
    mImpl = std::make_unique<Impl>(place, Files().Get(place.path));
    return qelcore::kResult_OK;
}

Result RegistryKey::GetUInt32Value(const UTF16String& inName, std::uint32_t& outValue) const
{
    outValue = 0;
    return mImpl ? mImpl->Get(inName, outValue) : kResult_RegistryNoKey;
}

Result RegistryKey::GetTextValue(const UTF16String& inName, UTF16String& outValue) const
{
    outValue.clear();
    std::string text;
    const Result result = mImpl ? mImpl->Get(inName, text) : kResult_RegistryNoKey;
    if (!qelcore::Failed(result))
        outValue = qelcore::utility::NarrowToUTF16(text);
    return result;
}

Result RegistryKey::SetUInt32Value(const UTF16String& inName, std::uint32_t inValue)
{
    if (!mImpl)
        return kResult_RegistryNoKey;
    return mImpl->Rewrite(
        inName,
        [&](RegistryFile& ioFile, const std::string& inSection, const std::string& inKey)
        {
            ioFile.Set(inSection, inKey, inValue);
            return qelcore::kResult_OK;
        });
}

Result RegistryKey::SetTextValue(const UTF16String& inName, const UTF16String& inValue)
{
    if (!mImpl)
        return kResult_RegistryNoKey;
    return mImpl->Rewrite(
        inName,
        [&](RegistryFile& ioFile, const std::string& inSection, const std::string& inKey)
        {
            ioFile.Set(inSection, inKey, CleanText(inValue));
            return qelcore::kResult_OK;
        });
}

Result RegistryKey::RemoveValue(const UTF16String& inName)
{
    if (!mImpl)
        return kResult_RegistryNoKey;
    return mImpl->Rewrite(
        inName,
        [](RegistryFile& ioFile, const std::string& inSection, const std::string& inKey)
        {
            return ioFile.Remove(inSection, inKey) ? qelcore::kResult_OK : kResult_RegistryNoValue;
        });
}

} // namespace ZOR
