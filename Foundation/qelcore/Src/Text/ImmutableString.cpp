#include "qelcore/ImmutableString.h"

#include <atomic>
#include <cstring>
#include <mutex>
#include <string_view>
#include <unordered_map>

#include "qelcore/TextConversion.h"

namespace qelcore
{
namespace utility
{

struct ImmutableString::Entry
{
    UTF16String text;
    std::atomic<std::size_t> holders{0};
};

class ImmutableStringTable
{
public:
    static ImmutableStringTable& Instance()
    {
        static ImmutableStringTable& sInstance = *new ImmutableStringTable;
        return sInstance;
    }
    ImmutableString Intern(std::u16string_view inText)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        auto found = mEntries.find(inText);
        if (found == mEntries.end())
        {
            auto* entry = new ImmutableString::Entry;
            entry->text.assign(inText.begin(), inText.end());
            found = mEntries.emplace(std::u16string_view(entry->text), entry).first;
        }
        ++found->second->holders;
        return ImmutableString(found->second);
    }
    bool Purge()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        bool freed = false;
        for (auto i = mEntries.begin(); i != mEntries.end();)
        {
            ImmutableString::Entry* entry = i->second;
            if (entry->holders != 0)
            {
                ++i;
                continue;
            }
            i = mEntries.erase(i);
            delete entry;
            freed = true;
        }
        return freed;
    }

private:
    std::mutex mMutex;
    std::unordered_map<std::u16string_view, ImmutableString::Entry*> mEntries;
};

constinit const ImmutableString ImmutableString::sNullString;

ImmutableString::ImmutableString(const ImmutableString& inOther) noexcept
    : mEntry(inOther.mEntry)
{
    if (mEntry)
        ++mEntry->holders;
}

ImmutableString::ImmutableString(ImmutableString&& inOther) noexcept
    : mEntry(inOther.mEntry)
{
    inOther.mEntry = nullptr;
}

ImmutableString& ImmutableString::operator=(const ImmutableString& inOther) noexcept
{
    return *this = ImmutableString(inOther);
}

ImmutableString& ImmutableString::operator=(ImmutableString&& inOther) noexcept
{
    std::swap(mEntry, inOther.mEntry);
    return *this;
}

ImmutableString::~ImmutableString()
{
    if (mEntry)
        --mEntry->holders;
}

ImmutableString ImmutableString::CreateStatic(const char* inLiteral)
{
    return CreateDynamic(inLiteral);
}

ImmutableString ImmutableString::CreateDynamic(const UTF16String& inText)
{
    return CreateDynamic(inText.data(), inText.size());
}

ImmutableString ImmutableString::CreateDynamic(const char16_t* inText, std::size_t inLength)
{
    return ImmutableStringTable::Instance().Intern(std::u16string_view(inText, inLength));
}

ImmutableString ImmutableString::CreateDynamic(const char* inUTF8)
{
    return CreateDynamic(inUTF8, std::strlen(inUTF8));
}

ImmutableString ImmutableString::CreateDynamic(const char* inUTF8, std::size_t inLength)
{
    return CreateDynamic(UTF8to16(inUTF8, inLength));
}

UTF16String ImmutableString::ToString() const
{
    return mEntry ? mEntry->text : UTF16String();
}

bool ImmutableString::PurgeUnusedStrings()
{
    return ImmutableStringTable::Instance().Purge();
}

} // namespace utility
} // namespace qelcore
