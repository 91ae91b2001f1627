// String tables and literals. The first byte chooses: an even one reads the rest as a table, an odd
// one looks the rest up as a literal. A table that is taken must give a text that is UTF-16 without
// unpaired surrogates, and one that is refused must leave nothing behind.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "qelcore/ErrorManager.h"
#include "qelcore/Localizer.h"
#include "qelcore/TextConversion.h"

#include "Foundation/qelcore/Src/Config/StringTable.h"

namespace
{

using namespace qelcore;

void Require(bool inCondition)
{
    if (!inCondition)
        std::abort();
}

void CheckTable(std::string_view inBytes)
{
    config::StringTable table;
    config::StringTableError error;
    if (!config::ParseStringTable(inBytes, table, error))
    {
        Require(table.empty() && !error.message.empty());
        return;
    }
    config::Localizer& localizer = config::Localizer::Get();
    Require(localizer.LoadTable(inBytes) == kResult_OK);
    for (const auto& entry : table)
    {
        utility::ConversionError unpaired;
        utility::UTF16to8(entry.second, &unpaired);
        Require(unpaired.code == utility::ConversionErrorCode::kNone);
        Require(localizer.GetText(entry.first + "=default") == entry.second);
    }
    localizer.Clear();
}

void CheckLiteral(std::string_view inLiteral)
{
    const UTF16String text = config::Localizer::Get().GetText(inLiteral);
    Require(text.size() <= inLiteral.size()); // no byte makes more than one unit
    const UTF16String replaced = config::ReplacePlaceholders(text, {u"@1", u"", 5});
    Require(replaced.size() <= text.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inBytes, std::size_t inSize)
{
    if (inSize == 0)
        return 0;
    const std::string_view rest(reinterpret_cast<const char*>(inBytes) + 1, inSize - 1);
    if (inBytes[0] % 2 == 0)
        CheckTable(rest);
    else
        CheckLiteral(rest);
    return 0;
}
