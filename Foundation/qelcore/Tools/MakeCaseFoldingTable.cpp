// Makes Foundation/qelcore/Src/Text/CaseFoldingTable.h out of ICU's data, so that the library needs no
// data library of its own.
//
//   rk_make_case_folding_table              prints the table
//   rk_make_case_folding_table --check F    compares it with file F: exit code 0 if it is the same,
//                                           1 if not, 77 if this ICU has other data than F was made from

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <unicode/uchar.h>
#include <unicode/uversion.h>

namespace
{

constexpr UChar32 kLastCodePoint = 0x10FFFF;
constexpr UChar32 kLastOfTheBasicPlane = 0xFFFF;

struct Run
{
    UChar32 first;
    UChar32 last;
    UChar32 stride;
    std::int32_t delta;
    bool isOne; // its stride is still open
};

/// Joins code points that fold by the same distance, and stand side by side or alternate.
std::vector<Run> FoldingRuns()
{
    std::vector<Run> runs;
    for (UChar32 c = 0; c <= kLastCodePoint; ++c)
    {
        const std::int32_t delta = u_foldCase(c, U_FOLD_CASE_DEFAULT) - c;
        if (delta == 0)
            continue;
        if ((c > kLastOfTheBasicPlane) != (c + delta > kLastOfTheBasicPlane))
            throw std::runtime_error("a folding changes the number of units");
        if (!runs.empty() && runs.back().delta == delta)
        {
            Run& run = runs.back();
            const UChar32 step = c - run.last;
            if (run.isOne ? step <= 2 : step == run.stride)
            {
                run.last = c;
                run.stride = step;
                run.isOne = false;
                continue;
            }
        }
        runs.push_back({c, c, 1, delta, true});
    }
    return runs;
}

/// The zeros of the decimal digits; each has its nine others behind it.
std::vector<UChar32> DigitZeros()
{
    std::vector<UChar32> zeros;
    for (UChar32 c = 0; c <= kLastOfTheBasicPlane; ++c)
    {
        const std::int32_t value = u_charDigitValue(c);
        if (value == 0)
            zeros.push_back(c);
        else if (value > 0 && (zeros.empty() || zeros.back() + value != c))
            throw std::runtime_error("digits that do not stand in order behind their zero");
    }
    return zeros;
}

std::string Hex(UChar32 inCodePoint)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%04X", static_cast<unsigned>(inCodePoint));
    return text;
}

std::string MakeTable()
{
    std::ostringstream out;
    out << "#pragma once\n\n"
           "// Made by Foundation/qelcore/Tools/MakeCaseFoldingTable.cpp; do not edit.\n"
           "// clang-format off\n\n"
           "#include <cstdint>\n\n"
           "namespace qelcore\n{\nnamespace utility\n{\n\n"
           "// Unicode "
        << U_UNICODE_VERSION
        << "\n\n"
           "// From first to last, every stride-th code point folds to the one that is delta "
           "further.\n"
           "struct CaseRun\n{\n"
           "    char32_t first;\n    char32_t last;\n    std::int32_t delta;\n    char32_t "
           "stride;\n};\n\n"
           "constexpr CaseRun kCaseRuns[] = {\n";
    for (const Run& run : FoldingRuns())
        out << "    {" << Hex(run.first) << ", " << Hex(run.last) << ", " << run.delta << ", "
            << run.stride << "},\n";
    out << "};\n\n"
           "// The zero of each script's decimal digits; one to nine stand behind it.\n"
           "constexpr char16_t kDigitZeros[] = {\n";
    for (const UChar32 zero : DigitZeros())
        out << "    " << Hex(zero) << ",\n";
    out << "};\n\n} // namespace utility\n} // namespace qelcore\n";
    return out.str();
}

int Check(const char* inPath)
{
    std::ifstream file(inPath, std::ios::binary);
    const std::string kept((std::istreambuf_iterator<char>(file)),
                           std::istreambuf_iterator<char>());
    if (kept == MakeTable())
        return 0;
    const bool sameData =
        kept.find("// Unicode " U_UNICODE_VERSION "\n") != std::string::npos || kept.empty();
    std::cerr << inPath
              << (sameData ? " is not what its tool makes\n"
                           : " was made from other Unicode data\n");
    return sameData ? 1 : 77;
}

} // namespace

int main(int inCount, char** inArguments)
{
    try
    {
        if (inCount == 3 && std::strcmp(inArguments[1], "--check") == 0)
            return Check(inArguments[2]);
        std::cout << MakeTable();
        return 0;
    }
    catch (const std::exception& error)
    {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
