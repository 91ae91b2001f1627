#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "qelcore/Export.h"
#include "qelcore/UTFString.h"

namespace qelcore
{
namespace utility
{

// Conversions between UTF-8 and UTF-16.
//
// Threads  Free functions without state.
// Errors   Any input converts; nothing but std::bad_alloc is raised. A caller that must know whether
//          the text was sound passes a ConversionError.
// Cost     Linear. Runs of ASCII are taken 16 units at a time.

enum class ConversionErrorCode
{
    kNone,
    kInvalidByte, ///< a byte that no sequence begins or continues with, or an overlong form
    kTruncated,   ///< the text ends within a sequence
    kSurrogate,   ///< UTF-8 that encodes a surrogate, or UTF-16 with an unpaired one
    kOutOfRange,  ///< above U+10FFFF: F4 with a second byte from 90 on, or a byte F5 to F7
};

/// What was wrong first, and at which unit of the input the malformed sequence began.
struct ConversionError
{
    ConversionErrorCode code = ConversionErrorCode::kNone;
    std::size_t position = 0;
};

/// Each byte of inText becomes a unit of the same value, those above 127 too.
/// @param inText  null counts as the empty text.
RK_API UTF16String AsciiToUTF16(const char* inText, std::size_t inLength);
RK_API UTF16String AsciiToUTF16(const char* inText);

/// Strict UTF-8. Each malformed sequence becomes one U+FFFD, and the first is told in outError. A
/// malformed sequence is the longest start of a sequence that could have become a sound one, or else
/// one byte: "F0 9F 41" is one and "A", and the surrogate "ED A0 80" is three.
/// @param outError  set in any case; null is allowed.
RK_API UTF16String UTF8to16(const char* inText, std::size_t inLength,
                            ConversionError* outError = nullptr);
RK_API UTF16String UTF8to16(const UTF8String& inText, ConversionError* outError = nullptr);
/// Each unpaired surrogate becomes U+FFFD, and the first is told in outError.
RK_API UTF8String UTF16to8(const UTF16String& inText, ConversionError* outError = nullptr);

/// The same conversions for std::string, which the standard library's streams want.
RK_API std::string UTF16ToNarrow(const UTF16String& inText, ConversionError* outError = nullptr);
RK_API UTF16String NarrowToUTF16(std::string_view inText, ConversionError* outError = nullptr);

// File names. The system takes any bytes but "/" and NUL for a name, so names that are no UTF-8 exist,
// and a file of such a name must still open after its name went through UTF16String.
//
// Bytes to text: a sound sequence becomes its one or two units. Each byte b of a malformed one becomes
// the lone unit 0xDC00 + b, which is DC80 to DCFF, since no byte below 80 is ever malformed. Sound text
// holds such a unit only behind a high surrogate, and a sound sequence never ends with one, so the two
// cannot be mixed up: UTF16ToFileName(FileNameToUTF16(bytes)) == bytes for any bytes at all.
//
// Text to bytes: a lone unit DC80 to DCFF becomes its byte. Any other unpaired surrogate becomes the
// three bytes that UTF-8's pattern gives it, ED A0 80 to ED BF BF. So no unit but "/" itself ever makes
// the byte "/", and none but U+0000 a NUL. Text that holds unpaired surrogates need not come back as it
// was: DCC3 DCA9 makes the bytes C3 A9, which are read as "é", and D800 makes ED A0 80, which is
// read as DCED DCA0 DC80. Either way the text that is read back names the same file. Two texts that
// differ only so may name one file; texts without unpaired surrogates never do.
RK_API UTF16String FileNameToUTF16(std::string_view inBytes);
RK_API std::string UTF16ToFileName(const UTF16String& inName);

} // namespace utility
} // namespace qelcore
