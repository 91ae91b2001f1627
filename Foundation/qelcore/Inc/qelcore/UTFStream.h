#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

namespace qelcore
{

// Streams of UTF16String. The standard ones cannot: std::basic_ostream<char16_t> sets badbit at the
// first number, for want of a facet that no library supplies.
//
// Threads  A stream is used by one thread at a time.
// Errors   Writing raises std::bad_alloc at most, and whatever a derived Write raises. Reading raises
//          nothing: it answers false in a condition.
// Locale   None: numbers have a point, no grouping, and the same text everywhere.

// What text and numbers are written to: a console, a report, a string.
class RK_API UTF16OutputStream
{
public:
    virtual ~UTF16OutputStream();
    UTF16OutputStream& operator<<(const UTF16String& inText);
    /// @param inUTF8  malformed sequences become U+FFFD; null writes nothing.
    UTF16OutputStream& operator<<(const char* inUTF8);
    UTF16OutputStream& operator<<(std::string_view inUTF8);
    UTF16OutputStream& operator<<(const UTF8String& inText);
    /// @param inText  null writes nothing.
    UTF16OutputStream& operator<<(const char16_t* inText);
    /// Writes the unit of the same value, 0 to 255.
    UTF16OutputStream& operator<<(char inCharacter);
    UTF16OutputStream& operator<<(char16_t inUnit);
    UTF16OutputStream& operator<<(int inNumber);
    UTF16OutputStream& operator<<(unsigned inNumber);
    UTF16OutputStream& operator<<(long inNumber);
    UTF16OutputStream& operator<<(unsigned long inNumber);
    UTF16OutputStream& operator<<(long long inNumber);
    UTF16OutputStream& operator<<(unsigned long long inNumber);
    /// Writes the shortest text that reads back as the same number, with an exponent where that is
    /// shorter: "0.1", "1e+20", "nan", "inf".
    UTF16OutputStream& operator<<(double inNumber);

protected:
    virtual void Write(const char16_t* inText, std::size_t inLength) = 0;
};

/// An output stream that gathers its text.
class RK_API oUTF16StringStream : public UTF16OutputStream
{
public:
    oUTF16StringStream() = default;
    ~oUTF16StringStream() override;
    const UTF16String& str() const noexcept { return mText; }
    /// Replaces what was gathered; writing goes on behind it.
    void str(const UTF16String& inText) { mText = inText; }

protected:
    void Write(const char16_t* inText, std::size_t inLength) override;
    UTF16String mText;
};

// Reads words, numbers and lines out of a text, from its front.
//
// A read that finds nothing, or nothing of that kind, fails: what it was to fill stays as it was, and
// so does the position. A failed stream answers every further read with failure, until clear().
class RK_API UTF16InputStream
{
public:
    virtual ~UTF16InputStream();

    /// Reads the units up to the next blank, after skipping blanks (space, tab, line ends).
    UTF16InputStream& operator>>(UTF16String& outWord);
    /// Reads one unit that is no blank.
    UTF16InputStream& operator>>(char16_t& outUnit);
    /// Read a decimal number, after blanks and one sign ("-" for signed numbers only). What follows
    /// it stays: "12ab" gives 12. Fails on a number that the type cannot hold.
    UTF16InputStream& operator>>(int& outNumber);
    UTF16InputStream& operator>>(unsigned& outNumber);
    UTF16InputStream& operator>>(long& outNumber);
    UTF16InputStream& operator>>(unsigned long& outNumber);
    UTF16InputStream& operator>>(long long& outNumber);
    UTF16InputStream& operator>>(unsigned long long& outNumber);
    /// Takes "1.5", "1e3", "nan", "inf".
    UTF16InputStream& operator>>(double& outNumber);

    /// Reads up to the next delimiter, which is passed but not delivered, or to the end.
    /// @return false, with outLine as it was, if there was nothing left.
    bool GetLine(UTF16String& outLine, char16_t inDelimiter = u'\n');

    /// @return true if the last read succeeded.
    explicit operator bool() const noexcept { return !mFailed; }
    bool fail() const noexcept { return mFailed; }
    /// @return true if no unit is left, blanks included.
    bool eof() const noexcept { return mPosition >= Text().size(); }
    /// Lets a failed stream read again, from where it stands.
    void clear() noexcept { mFailed = false; }

protected:
    virtual const UTF16String& Text() const noexcept = 0;
    /// Back to the front, not failed.
    void Rewind() noexcept;

private:
    template <class T>
    UTF16InputStream& ReadNumber(T& outNumber);
    std::u16string_view Rest() const noexcept;
    std::u16string_view SkipBlanks() const noexcept;
    void Pass(std::u16string_view inRead) noexcept;

    std::size_t mPosition = 0;
    bool mFailed = false;
};

/// An input stream over a text of its own.
class RK_API iUTF16StringStream : public UTF16InputStream
{
public:
    iUTF16StringStream() = default;
    explicit iUTF16StringStream(const UTF16String& inText)
        : mText(inText)
    {
    }
    ~iUTF16StringStream() override;
    const UTF16String& str() const noexcept { return mText; }
    /// Replaces the text and begins at its front.
    void str(const UTF16String& inText);

protected:
    const UTF16String& Text() const noexcept override { return mText; }

private:
    UTF16String mText;
};

/// Both ways: what was written can be read, and writing goes on at the end, wherever reading stands.
class RK_API UTF16StringStream : public oUTF16StringStream, public UTF16InputStream
{
public:
    UTF16StringStream() = default;
    explicit UTF16StringStream(const UTF16String& inText) { mText = inText; }
    ~UTF16StringStream() override;
    using oUTF16StringStream::str;
    /// Replaces the text and begins to read at its front.
    void str(const UTF16String& inText);

protected:
    const UTF16String& Text() const noexcept override { return mText; }
};

} // namespace qelcore
