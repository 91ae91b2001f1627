#include "qelcore/Localizer.h"

#include <memory>
#include <system_error>
#include <utility>

#include "Platform/WholeFile.h"
#include "StringTable.h"
#include "qelcore/RecursiveMutex.h"
#include "qelcore/TextConversion.h"

namespace qelcore
{
namespace config
{
namespace
{

constexpr std::string_view kLiteralPrefix = "$$$/";
using TablePtr = std::shared_ptr<const StringTable>;

} // namespace

struct Localizer::Impl
{
    // A leaf, held for the exchange of pointers alone; tables are read and joined without it.
    mutable threads::RecursiveMutex mMutex;
    TablePtr mTable RK_GUARDED_BY(mMutex); // null until a table has been loaded

    // One load at a time, so that none forgets what another adds. Taken before mMutex.
    threads::RecursiveMutex mLoadMutex;

    TablePtr Table() const
    {
        const threads::RecursiveMutex::ScopedLock lock(mMutex, "Localizer::Table");
        return mTable;
    }

    void SetTable(TablePtr inTable)
    {
        // The one before is freed behind the lock.
        const threads::RecursiveMutex::ScopedLock lock(mMutex, "Localizer::SetTable");
        mTable.swap(inTable);
    }
};

Localizer::Localizer()
    : mImpl(new Impl)
{
}

Localizer& Localizer::Get()
{
    static Localizer& sLocalizer =
        *new Localizer; // never destroyed: errors are raised at exit, too
    return sLocalizer;
}

bool Localizer::Initialized()
{
    return Get().mImpl->Table() != nullptr;
}

UTF16String Localizer::GetText(std::string_view inLiteral) const
{
    if (inLiteral.substr(0, kLiteralPrefix.size()) != kLiteralPrefix)
        return utility::UTF8to16(inLiteral.data(), inLiteral.size());
    const std::size_t equals = inLiteral.find('=');
    if (const TablePtr table = mImpl->Table())
    {
        const auto entry = table->find(inLiteral.substr(0, equals));
        if (entry != table->end())
            return entry->second;
    }
    if (equals != std::string_view::npos)
        inLiteral.remove_prefix(equals + 1);
    return utility::UTF8to16(inLiteral.data(), inLiteral.size());
}

Result Localizer::LoadTable(std::string_view inBytes, StringTableError* outError)
{
    StringTableError error;
    StringTable added;
    const bool read = ParseStringTable(inBytes, added, error);
    if (outError)
        *outError = error;
    if (!read)
        return kResult_BadStringTable;
    const threads::RecursiveMutex::ScopedLock lock(mImpl->mLoadMutex, "Localizer::LoadTable");
    if (const TablePtr before = mImpl->Table())
        added.insert(before->begin(), before->end()); // keeps what was added
    mImpl->SetTable(std::make_shared<const StringTable>(std::move(added)));
    return kResult_OK;
}

Result Localizer::LoadTableFromFile(const UTF16String& inPath, StringTableError* outError)
{
    std::string bytes;
    const int error = Platform::ReadWholeFile(
        Platform::FileSystem(), utility::UTF16ToFileName(inPath), kMaxStringTableBytes, bytes);
    if (error == 0)
        return LoadTable(bytes, outError);
    if (outError)
        *outError = {0, "the file cannot be read: " + std::generic_category().message(error)};
    return kResult_StringTableNotRead;
}

void Localizer::Clear()
{
    const threads::RecursiveMutex::ScopedLock lock(mImpl->mLoadMutex, "Localizer::Clear");
    mImpl->SetTable(nullptr);
}

} // namespace config
} // namespace qelcore
