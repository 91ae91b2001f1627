#pragma once

#include <cstdint>

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

namespace qelcore
{

// Writes text and numbers into UTF16String: the standard streams cannot print numbers in 16-bit units.
class RK_API UTF16OutputStream
{
public:
    virtual ~UTF16OutputStream();
    UTF16OutputStream& operator<<(const UTF16String& inText);
    UTF16OutputStream& operator<<(const char* inASCII);
    UTF16OutputStream& operator<<(const char16_t* inText);
    UTF16OutputStream& operator<<(char inCharacter);
    UTF16OutputStream& operator<<(char16_t inUnit);
    UTF16OutputStream& operator<<(int inNumber);
    UTF16OutputStream& operator<<(unsigned inNumber);
    UTF16OutputStream& operator<<(long inNumber);
    UTF16OutputStream& operator<<(unsigned long inNumber);
    UTF16OutputStream& operator<<(long long inNumber);
    UTF16OutputStream& operator<<(unsigned long long inNumber);
    UTF16OutputStream& operator<<(double inNumber);

protected:
    virtual void Write(const char16_t* inText, std::size_t inLength) = 0;
};

/// An output stream that gathers its text.
class RK_API oUTF16StringStream : public UTF16OutputStream
{
public:
    const UTF16String& str() const noexcept { return mText; }
    void str(const UTF16String& inText) { mText = inText; }

protected:
    void Write(const char16_t* inText, std::size_t inLength) override;
    UTF16String mText;
};

/// Both ways: what was written can be read again (see iUTF16StringStream).
using UTF16StringStream = oUTF16StringStream; // TODO by the text owner

} // namespace qelcore
