#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <boost/shared_ptr.hpp>

#include "qelcore/Export.h"
#include "qelcore/Result.h"
#include "qelcore/UTFString.h"

// The texts of the user's language.
//
// A text that can reach a user stands in the code as a literal, "$$$/key=default text". The key is
// all before the first "=", "$$$/" included; what follows it is the text where no table has the
// key.
//
// A string table is UTF-8, one entry a line:
//
//     # a comment
//     "$$$/RiverKit/SkyAtelierLibraries"="Bibliotheken"
//
// - A byte order mark at the start is passed over. Lines end in LF or CR LF; the last may lack its
//   end.
// - Lines of blanks, and lines whose first character is "#", are passed over.
// - Blanks (space, tab) may stand before and behind either text, and nothing else.
// - Between the quotes: \" \\ \n \r \t stand for those characters, \u and four hexadecimal digits
//   for one unit of UTF-16 (two of them for a character beyond U+FFFF). No other escape, and no
//   character below space but the tab.
// - A key begins with "$$$/" and holds no "=". It may stand only once in a table.
// - At most kMaxStringTableBytes.
namespace qelcore
{
namespace config
{

constexpr std::size_t kMaxStringTableBytes = 64u << 20; // thousands of times a large application's

constexpr Result kResult_BadStringTable = static_cast<Result>(0xA00F0101u);
constexpr Result kResult_StringTableNotRead = static_cast<Result>(0xA00F0102u);

// What was wrong first.
struct StringTableError
{
    std::size_t line = 0; ///< from 1; 0 if the table as a whole was refused
    std::string message;  ///< for engineers, in English
};

// Threads  Any function from any thread. A text is looked up without waiting for a table being
//          read.
class RK_API Localizer
{
public:
    /// Whether a table has been loaded.
    static bool Initialized();
    /// The one localizer. Without a table it gives default texts.
    static Localizer& Get();

    /// The text of a literal. A text that does not begin with "$$$/" is given back as it is; a
    /// literal without "=" that no table has, too. @param inLiteral  UTF-8.
    UTF16String GetText(std::string_view inLiteral) const;

    /// Adds a table to what is there; a key that is there already takes the new text.
    /// @return kResult_OK; kResult_BadStringTable, and then nothing of it was taken.
    Result LoadTable(std::string_view inBytes, StringTableError* outError = nullptr);
    /// The same from a file. @return also kResult_StringTableNotRead.
    Result LoadTableFromFile(const UTF16String& inPath, StringTableError* outError = nullptr);
    /// Forgets all tables.
    void Clear();

private:
    Localizer();
    ~Localizer();
    struct Impl;
    Impl* const mImpl;
};

} // namespace config
} // namespace qelcore
