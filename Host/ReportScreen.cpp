#include "ReportScreen.h"

#include <algorithm>
#include <sstream>

namespace RKHost
{

namespace
{

constexpr const char* kSeparator = "----------------------------------------\n";
constexpr std::size_t kGap = 2; // columns between two columns of text

// Texts are UTF-8; a character counts as one column.
bool BeginsCharacter(char inByte)
{
    return (static_cast<unsigned char>(inByte) & 0xC0) != 0x80;
}

std::size_t WidthOf(const std::string& inLine)
{
    return static_cast<std::size_t>(std::count_if(inLine.begin(), inLine.end(), &BeginsCharacter));
}

std::string CutTo(const std::string& inLine, std::size_t inWidth)
{
    std::size_t width = 0;
    std::size_t at = 0;
    for (; at < inLine.size(); ++at)
        if (BeginsCharacter(inLine[at]) && ++width > inWidth)
            break;
    return inLine.substr(0, at);
}

std::vector<std::string> LinesOf(const std::string& inText)
{
    std::vector<std::string> lines;
    std::istringstream stream(inText);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// Fills inRows rows from the top, one column of text after the other.
std::vector<std::string> InColumns(const std::vector<std::string>& inLines, std::size_t inRows)
{
    std::vector<std::string> rows(std::min(inRows, inLines.size()));
    for (std::size_t from = 0; from < inLines.size(); from += inRows)
    {
        std::size_t left = 0; // where this column begins
        for (const std::string& row : rows)
            left = std::max(left, WidthOf(row));
        left += from > 0 ? kGap : 0;
        for (std::size_t i = from; i < std::min(from + inRows, inLines.size()); ++i)
        {
            std::string& row = rows[i - from];
            if (!inLines[i].empty())
                row += std::string(left - WidthOf(row), ' ') + inLines[i];
        }
    }
    return rows;
}

bool AllFit(const std::vector<std::string>& inLines, std::size_t inWidth)
{
    return std::all_of(inLines.begin(), inLines.end(),
                       [&](const std::string& inLine) { return WidthOf(inLine) <= inWidth; });
}

std::vector<std::string> CutLines(std::vector<std::string> inLines, std::size_t inWidth)
{
    for (std::string& line : inLines)
        line = CutTo(line, inWidth);
    return inLines;
}

// As many of the first lines as columns of them fit, at least one column; the last row says how many are
// left.
std::vector<std::string> FirstLines(const std::vector<std::string>& inLines, std::size_t inRows,
                                    std::size_t inWidth)
{
    const std::size_t rows = std::max<std::size_t>(inRows - 1, 1);
    std::size_t shown = inLines.size() - 1;
    shown -= shown % rows;
    std::vector<std::string> result;
    do
    {
        const auto end = inLines.begin() + static_cast<std::ptrdiff_t>(shown);
        result = InColumns(std::vector<std::string>(inLines.begin(), end), rows);
        shown -= rows;
    } while (shown > 0 && !AllFit(result, inWidth));
    const std::size_t left = inLines.size() - shown - rows;
    result.resize(inRows - 1);
    result.push_back("... " + std::to_string(left) + " more lines; a larger terminal shows them");
    return result;
}

} // namespace

std::vector<std::string> FitLines(const std::string& inText, TerminalSize inSize)
{
    // One row and one column are left free: a full one would make the terminal scroll or wrap.
    const auto rows = static_cast<std::size_t>(std::max(inSize.mRows - 1, 1));
    const auto width = static_cast<std::size_t>(std::max(inSize.mColumns - 1, 0));
    const std::vector<std::string> lines = LinesOf(inText);
    if (lines.size() <= rows)
        return CutLines(lines, width);
    const std::vector<std::string> columns = InColumns(lines, rows);
    return AllFit(columns, width) ? columns : CutLines(FirstLines(lines, rows, width), width);
}

ReportScreen::ReportScreen(const Write& inWrite, const Size& inSize)
    : mWrite(inWrite)
    , mSize(inSize)
{
}

void ReportScreen::Show(const std::string& inReport)
{
    const TerminalSize size = mSize();
    std::string text;
    if (size.mColumns == 0)
    {
        text = (mFirst ? "" : kSeparator) + inReport;
    }
    else
    {
        const std::vector<std::string> lines = FitLines(inReport, size);
        if (mRowsStanding > 0)
            text += "\r\033[" + std::to_string(mRowsStanding) + "A";
        for (const std::string& line : lines)
            text += line + "\033[K\n";
        text += "\033[J"; // what stood below
        mRowsStanding = static_cast<int>(lines.size());
    }
    mFirst = false;
    mWrite(text);
}

} // namespace RKHost
