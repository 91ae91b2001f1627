#include "qelcore/ImmutableString.h"

#include <cstring>
#include <utility>

#include "ImmutableStringTable.h"
#include "UTFCodec.h"
#include "qelcore/TextConversion.h"

namespace qelcore
{
namespace utility
{

constinit const ImmutableString ImmutableString::sNullString;

ImmutableString::ImmutableString(const ImmutableString& inOther) noexcept
    : mEntry(inOther.mEntry)
{
    if (mEntry)
        mEntry->Hold();
}

ImmutableString::ImmutableString(ImmutableString&& inOther) noexcept
    : mEntry(std::exchange(inOther.mEntry, nullptr))
{
}

ImmutableString& ImmutableString::operator=(const ImmutableString& inOther) noexcept
{
    return *this = ImmutableString(inOther);
}

ImmutableString& ImmutableString::operator=(ImmutableString&& inOther) noexcept
{
    ImmutableString taken(std::move(inOther));
    std::swap(mEntry, taken.mEntry);
    return *this;
}

ImmutableString::~ImmutableString()
{
    if (mEntry)
        mEntry->LetGo();
}

ImmutableString ImmutableString::CreateStatic(const char* inLiteral)
{
    if (!inLiteral)
        return ImmutableString();
    const std::size_t length = std::strlen(inLiteral);
    if (!IsAscii(reinterpret_cast<const unsigned char*>(inLiteral), length))
        return CreateDynamic(inLiteral, length);
    return ImmutableStringTable::Intern({inLiteral, length, true}, true);
}

ImmutableString ImmutableString::CreateDynamic(const UTF16String& inText)
{
    return CreateDynamic(inText.data(), inText.size());
}

ImmutableString ImmutableString::CreateDynamic(const char16_t* inText, std::size_t inLength)
{
    return ImmutableStringTable::Intern({inText, inLength, false}, false);
}

ImmutableString ImmutableString::CreateDynamic(const char* inUTF8, std::size_t inLength)
{
    if (IsAscii(reinterpret_cast<const unsigned char*>(inUTF8), inLength))
        return ImmutableStringTable::Intern({inUTF8, inLength, true}, false);
    return CreateDynamic(UTF8to16(inUTF8, inLength));
}

ImmutableString ImmutableString::CreateDynamic(const char* inUTF8)
{
    return inUTF8 ? CreateDynamic(inUTF8, std::strlen(inUTF8)) : ImmutableString();
}

UTF16String ImmutableString::ToString() const
{
    if (!mEntry)
        return UTF16String();
    const InternedText text = mEntry->Text();
    if (text.narrow)
        return AsciiToUTF16(static_cast<const char*>(text.units), text.length);
    return UTF16String(static_cast<const char16_t*>(text.units), text.length);
}

bool ImmutableString::PurgeUnusedStrings()
{
    return ImmutableStringTable::Purge();
}

} // namespace utility
} // namespace qelcore
