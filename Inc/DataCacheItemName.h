#pragma once

#include <string_view>

#include "qelcore/ImmutableString.h"
#include "qelcore/UTFString.h"

// How an item of a cache folder is named: "key.subkey.rkdc", or "key.rkdc" for the empty sub key. Nothing
// is escaped, so the way back is not exact: see ParseItemName().
namespace RK
{

/// "rkdc", compared exactly.
extern const qelcore::utility::ImmutableString kDataCacheFileExtension;
/// ".rkdc", for the disk cache manager.
extern const qelcore::UTF16String kDataCacheFileExtensionWithSeparator;

/// Makes the one path of an item: the folder, a slash, and the item's name.
/// @param inSubKey  the null string counts as the empty one.
/// @param outPath   untouched on failure.
/// @return false for a name that would lead out of the folder: one with a component "..", with a slash
///         at its start, or with a NUL, which would cut it short.
bool AssembleItemPath(const qelcore::UTF16String& inFolder,
                      const qelcore::utility::ImmutableString& inKey,
                      const qelcore::utility::ImmutableString& inSubKey,
                      qelcore::UTF16String& outPath);

/// What a file's name says that is in it. Views of the name.
template <class Unit>
struct ItemName
{
    std::basic_string_view<Unit> key; // empty: this is no item
    std::basic_string_view<Unit> subKey;
};

/// Takes a file's name apart at its last two dots, so that "a.b.c.rkdc" is the key "a.b" with the sub key
/// "c". An item without a sub key whose key has a dot is taken for one with a sub key: that lies in the
/// format.
ItemName<char> ParseItemName(std::string_view inFileName);
ItemName<char16_t> ParseItemName(std::u16string_view inFileName);

} // namespace RK
