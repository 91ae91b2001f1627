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

enum class ConversionErrorCode
{
    kNone,
    kInvalidByte,        ///< a byte that no sequence begins or continues with, or an overlong form
    kTruncated,          ///< the text ends within a sequence
    kSurrogate,          ///< UTF-8 that encodes a surrogate, or UTF-16 with an unpaired one
    kOutOfRange,         ///< above U+10FFFF
};

/// What was wrong first, and at which unit of the input it stood.
struct ConversionError
{
    ConversionErrorCode code = ConversionErrorCode::kNone;
    std::size_t position = 0;
};

/// Each byte of inText becomes a unit of the same value.
RK_API UTF16String AsciiToUTF16(const char* inText, std::size_t inLength);
RK_API UTF16String AsciiToUTF16(const char* inText);

/// Strict UTF-8. Each malformed sequence becomes U+FFFD, and the first is told in outError.
RK_API UTF16String UTF8to16(const char* inText, std::size_t inLength, ConversionError* outError = nullptr);
RK_API UTF16String UTF8to16(const UTF8String& inText, ConversionError* outError = nullptr);
/// Each unpaired surrogate becomes U+FFFD, and the first is told in outError.
RK_API UTF8String UTF16to8(const UTF16String& inText, ConversionError* outError = nullptr);

/// The same conversions for std::string, which the standard library's streams want.
RK_API std::string UTF16ToNarrow(const UTF16String& inText, ConversionError* outError = nullptr);
RK_API UTF16String NarrowToUTF16(std::string_view inText, ConversionError* outError = nullptr);

/// File names: bytes that are no UTF-8 survive the way to UTF16String and back. A byte b that is part
/// of no valid sequence becomes the lone unit 0xDC00 + b, and such a unit becomes the byte again.
RK_API UTF16String FileNameToUTF16(std::string_view inBytes);
RK_API std::string UTF16ToFileName(const UTF16String& inName);

} // namespace utility
} // namespace qelcore
