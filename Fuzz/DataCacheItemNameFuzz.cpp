// Names of files in a cache folder, which anybody may put there, and the way back to a path.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "DataCacheItemName.h"
#include "qelcore/TextConversion.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inBytes, std::size_t inSize)
{
    using qelcore::utility::FileNameToUTF16;
    using qelcore::utility::ImmutableString;
    const std::string_view name(reinterpret_cast<const char*>(inBytes), inSize);
    const RK::ItemName<char> item = RK::ParseItemName(name);
    const qelcore::UTF16String wideName = FileNameToUTF16(name);
    const RK::ItemName<char16_t> wide =
        RK::ParseItemName(std::u16string_view(wideName.data(), wideName.size()));
    if (FileNameToUTF16(item.key) != qelcore::UTF16String(wide.key.begin(), wide.key.end()))
        std::abort();
    if (item.key.empty())
        return 0;
    qelcore::UTF16String path;
    const bool stays =
        RK::AssembleItemPath(u"/c", ImmutableString::CreateDynamic(FileNameToUTF16(item.key)),
                             ImmutableString::CreateDynamic(FileNameToUTF16(item.subKey)), path);
    const bool isFileName =
        name.find('/') == std::string_view::npos && name.find('\0') == std::string_view::npos;
    if (isFileName && !stays)
        std::abort();
    // But for the dot of an empty sub key the way back leads to the same file.
    if (isFileName && !item.subKey.empty() &&
        qelcore::utility::UTF16ToFileName(path) != "/c/" + std::string(name))
        std::abort();
    if (stays && (path.find(u"/../") != qelcore::UTF16String::npos ||
                  path.find(u'\0') != qelcore::UTF16String::npos))
        std::abort();
    return 0;
}
