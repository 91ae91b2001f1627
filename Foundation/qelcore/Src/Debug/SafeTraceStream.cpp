#include <charconv>

#include "qelcore/AsyncExecutor.h"
#include "qelcore/TextConversion.h"
#include "qelcore/Trace.h"

namespace qelcore
{
namespace debug
{
namespace
{

void Append(std::string& ioLine, std::string_view inText) noexcept
{
    try
    {
        ioLine.append(inText);
    }
    catch (...) // no memory: the piece is lost
    {
    }
}

template <class T, class... Format>
void AppendNumber(std::string& ioLine, T inNumber, Format... inFormat) noexcept
{
    char text[40]; // the longest double has 24 characters, the longest integer 20
    const std::to_chars_result end = std::to_chars(text, text + sizeof text, inNumber, inFormat...);
    Append(ioLine, std::string_view(text, static_cast<std::size_t>(end.ptr - text)));
}

} // namespace

SafeTraceStream::SafeTraceStream(const char* inCategory, int inLevel) noexcept
{
    *this << '<' << threads::GetCurrentThreadID() << "> <" << inCategory << "> <" << inLevel
          << "> ";
}

SafeTraceStream::~SafeTraceStream()
{
    Append(mLine, "\n");
    Trace(mLine);
}

SafeTraceStream& SafeTraceStream::operator<<(const char* inText) noexcept
{
    Append(mLine, inText ? std::string_view(inText) : std::string_view("(null)"));
    return *this;
}

SafeTraceStream& SafeTraceStream::operator<<(std::string_view inText) noexcept
{
    Append(mLine, inText);
    return *this;
}

SafeTraceStream& SafeTraceStream::operator<<(const std::string& inText) noexcept
{
    Append(mLine, inText);
    return *this;
}

SafeTraceStream& SafeTraceStream::operator<<(const UTF8String& inText) noexcept
{
    Append(mLine, {reinterpret_cast<const char*>(inText.data()), inText.size()});
    return *this;
}

SafeTraceStream& SafeTraceStream::operator<<(const UTF16String& inText) noexcept
{
    try
    {
        Append(mLine, utility::UTF16ToNarrow(inText));
    }
    catch (...) // no memory: the piece is lost
    {
    }
    return *this;
}

SafeTraceStream& SafeTraceStream::operator<<(const char16_t* inText) noexcept
{
    if (!inText)
        return *this << "(null)";
    try
    {
        return *this << UTF16String(inText);
    }
    catch (...) // no memory: the piece is lost
    {
        return *this;
    }
}

SafeTraceStream& SafeTraceStream::operator<<(char inCharacter) noexcept
{
    Append(mLine, std::string_view(&inCharacter, 1));
    return *this;
}

SafeTraceStream& SafeTraceStream::operator<<(bool inValue) noexcept
{
    return *this << (inValue ? "true" : "false");
}

SafeTraceStream& SafeTraceStream::operator<<(int inNumber) noexcept
{
    AppendNumber(mLine, inNumber);
    return *this;
}

SafeTraceStream& SafeTraceStream::operator<<(unsigned inNumber) noexcept
{
    AppendNumber(mLine, inNumber);
    return *this;
}

SafeTraceStream& SafeTraceStream::operator<<(long inNumber) noexcept
{
    AppendNumber(mLine, inNumber);
    return *this;
}

SafeTraceStream& SafeTraceStream::operator<<(unsigned long inNumber) noexcept
{
    AppendNumber(mLine, inNumber);
    return *this;
}

SafeTraceStream& SafeTraceStream::operator<<(long long inNumber) noexcept
{
    AppendNumber(mLine, inNumber);
    return *this;
}

SafeTraceStream& SafeTraceStream::operator<<(unsigned long long inNumber) noexcept
{
    AppendNumber(mLine, inNumber);
    return *this;
}

SafeTraceStream& SafeTraceStream::operator<<(double inNumber) noexcept
{
    AppendNumber(mLine, inNumber);
    return *this;
}

SafeTraceStream& SafeTraceStream::operator<<(Hex inNumber) noexcept
{
    AppendNumber(mLine, inNumber.number, 16);
    return *this;
}

} // namespace debug
} // namespace qelcore
