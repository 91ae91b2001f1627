// Numbers: any text gives a finite number, any number gives a text that gives it back, and reading a
// text number by number ends.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "qelcore/NumberText.h"
#include "qelcore/TextConversion.h"
#include "qelcore/UTFStream.h"

using namespace qelcore;
using namespace qelcore::utility;

namespace
{

void Require(bool inCondition)
{
    if (!inCondition)
        std::abort();
}

void CheckNumber(double inNumber)
{
    const UTF16String exact = NumberToString(inNumber, 400);
    if (std::isfinite(inNumber))
        Require(StringToNumber(exact, kStringToNumber_WholeText) == inNumber);
    else
        Require(StringToNumber(exact) == 0);
    UTF16StringStream stream;
    stream << inNumber;
    double read = 0;
    Require(static_cast<bool>(stream >> read));
    Require(read == inNumber || (std::isnan(read) && std::isnan(inNumber)));
}

void CheckText(const UTF16String& inText)
{
    const double number = StringToNumber(inText);
    Require(std::isfinite(number));
    const double whole = StringToNumber(inText, kStringToNumber_WholeText);
    Require(whole == 0 || whole == number);
    const long long exact = Coercion<long long>::Result(inText);
    const int narrow = Coercion<int>::Result(inText);
    Require(narrow == 0 || narrow == exact);

    iUTF16StringStream stream(inText);
    for (std::size_t reads = 0; !stream.eof(); ++reads)
    {
        Require(reads <= inText.size());
        double next = 0;
        UTF16String word;
        if (stream >> next)
            continue;
        stream.clear();
        if (!(stream >> word))
            break;
        Require(!word.empty());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize)
{
    CheckText(FileNameToUTF16({reinterpret_cast<const char*>(inData), inSize}));

    std::uint64_t bits = 0;
    std::memcpy(&bits, inData, std::min(inSize, sizeof bits));
    double number = 0;
    std::memcpy(&number, &bits, sizeof number);
    CheckNumber(number);
    const int option = static_cast<int>(inSize);
    NumberToString(number, option % 30);
    Require(!NumberToMemoryString(bits, option % 30, option % 2 != 0).empty());

    const UTF16String text = FileNameToUTF16({reinterpret_cast<const char*>(inData), inSize});
    UTF16String replaced = text;
    const std::size_t count =
        ReplaceInString(replaced, text.substr(0, inSize % 3), UTF16String(2, u'@'));
    Require(count != 0 || replaced == text);
    Require(TruncateStringToNumChars(text, inSize / 2, true).size() <= inSize / 2);
    return 0;
}
