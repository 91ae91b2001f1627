#include "RegistryFile.h"

#include <algorithm>
#include <charconv>
#include <utility>

#include "ZOR/RegistryKey.h"
#include "qelcore/TextConversion.h"

namespace ZOR
{
namespace
{

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t";

std::string_view WithoutBlanks(std::string_view inText)
{
    const std::size_t first = inText.find_first_not_of(kBlanks);
    if (first == std::string_view::npos)
        return {};
    return inText.substr(first, inText.find_last_not_of(kBlanks) - first + 1);
}

bool IsControl(char inByte)
{
    return static_cast<unsigned char>(inByte) < 0x20 || inByte == 0x7F;
}

bool IsUTF8(std::string_view inText)
{
    qelcore::utility::ConversionError error;
    qelcore::utility::UTF8to16(inText.data(), inText.size(), &error);
    return error.code == qelcore::utility::ConversionErrorCode::kNone;
}

// Takes a text in quotation marks off the front of ioRest. @return false if there is none.
bool TakeQuoted(std::string_view& ioRest, std::string& outText)
{
    constexpr std::string_view kLetters = "\"\\nrt";
    constexpr std::string_view kMeanings = "\"\\\n\r\t";
    if (ioRest.empty() || ioRest.front() != '"')
        return false;
    for (std::size_t at = 1; at < ioRest.size(); ++at)
    {
        if (ioRest[at] == '"')
        {
            ioRest.remove_prefix(at + 1);
            return true;
        }
        if (ioRest[at] != '\\')
        {
            outText += ioRest[at];
            continue;
        }
        const std::size_t letter =
            at + 1 < ioRest.size() ? kLetters.find(ioRest[++at]) : kLetters.npos;
        if (letter == kLetters.npos)
            return false;
        outText += kMeanings[letter];
    }
    return false;
}

std::string Quoted(std::string_view inText)
{
    std::string quoted = "\"";
    for (const char byte : inText)
        switch (byte)
        {
        case '"':
            quoted += "\\\"";
            break;
        case '\\':
            quoted += "\\\\";
            break;
        case '\n':
            quoted += "\\n";
            break;
        case '\r':
            quoted += "\\r";
            break;
        case '\t':
            quoted += "\\t";
            break;
        default:
            quoted += byte;
        }
    return quoted + '"';
}

bool NeedsQuotes(std::string_view inName)
{
    return inName.find_first_of("=\\") != inName.npos || inName.find_first_of("[#\"") == 0 ||
           WithoutBlanks(inName) != inName;
}

std::string LineOf(const std::string& inName, const RegistryValue& inValue)
{
    const std::string name = NeedsQuotes(inName) ? Quoted(inName) : inName;
    const std::uint32_t* const number = std::get_if<std::uint32_t>(&inValue);
    return name + " = " +
           (number ? std::to_string(*number) : Quoted(std::get<std::string>(inValue)));
}

bool ReadName(std::string_view& ioRest, std::string& outName)
{
    if (!ioRest.empty() && ioRest.front() == '"')
    {
        if (!TakeQuoted(ioRest, outName))
            return false;
        ioRest = WithoutBlanks(ioRest);
        return !ioRest.empty() && ioRest.front() == '=';
    }
    const std::size_t equals = ioRest.find('=');
    if (equals == std::string_view::npos)
        return false;
    outName = WithoutBlanks(ioRest.substr(0, equals));
    ioRest.remove_prefix(equals);
    return outName.find('\\') == std::string::npos;
}

bool ReadValue(std::string_view inText, RegistryValue& outValue)
{
    std::string text;
    if (TakeQuoted(inText, text))
    {
        outValue = std::move(text);
        return inText.empty();
    }
    std::uint32_t number = 0;
    const char* const end = inText.data() + inText.size();
    const std::from_chars_result result = std::from_chars(inText.data(), end, number);
    outValue = number;
    return result.ec == std::errc() && result.ptr == end;
}

const char kNoSection[] = "\x01";        // which no path can name
constexpr std::size_t kMaxProblems = 20; // as many as anybody reads

} // namespace

bool IsRegistryName(std::string_view inName)
{
    return !inName.empty() && std::none_of(inName.begin(), inName.end(), IsControl) &&
           IsUTF8(inName);
}

bool IsRegistrySection(std::string_view inSection)
{
    for (;;)
    {
        const std::size_t end = std::min(inSection.find('/'), inSection.size());
        if (!IsRegistryName(inSection.substr(0, end)))
            return false;
        if (end == inSection.size())
            return true;
        inSection.remove_prefix(end + 1);
    }
}

RegistryFile RegistryFile::Parse(std::string_view inBytes)
{
    RegistryFile file;
    file.mSections[std::string()]; // there as soon as the file is
    if (inBytes.size() > kMaxRegistryBytes)
    {
        file.AddProblem(0, "it is too large");
        return file;
    }
    if (inBytes.substr(0, kByteOrderMark.size()) == kByteOrderMark)
        inBytes.remove_prefix(kByteOrderMark.size());
    std::string section;
    for (std::size_t number = 1; !inBytes.empty(); ++number)
    {
        const std::size_t end = inBytes.find('\n');
        if (end == std::string_view::npos)
        {
            // Not kept for Text() either: with a line end it would become a line that counts.
            file.AddProblem(number, "the last line is cut short");
            break;
        }
        std::string_view line = inBytes.substr(0, end);
        inBytes.remove_prefix(end + 1);
        while (!line.empty() &&
               line.back() == '\r') // more than one reads the same once written back
            line.remove_suffix(1);
        if (const char* const problem = file.Take(line, section))
            file.AddProblem(number, problem);
    }
    return file;
}

void RegistryFile::AddProblem(std::size_t inLine, const char* inMessage)
{
    if (mProblems.size() < kMaxProblems)
        mProblems.push_back({inLine, inMessage});
}

const char* RegistryFile::Take(std::string_view inLine, std::string& ioSection)
{
    Line line;
    line.raw = inLine;
    const std::string_view content = WithoutBlanks(inLine);
    const char* problem = nullptr;
    if (content.empty() || content.front() == '#')
        line.kind = LineKind::kOther;
    else if (content.front() == '[')
        problem = TakeSection(content, line, ioSection);
    else
        problem = TakeValue(content, line, ioSection);
    line.section = ioSection;
    mLines.push_back(std::move(line));
    return problem;
}

const char* RegistryFile::TakeSection(std::string_view inContent, Line& outLine,
                                      std::string& outSection)
{
    const bool closed = inContent.size() >= 2 && inContent.back() == ']';
    const std::string_view section =
        closed ? inContent.substr(1, inContent.size() - 2) : std::string_view();
    outLine.kind = LineKind::kSection;
    if (!IsRegistrySection(section))
    {
        // What follows belongs to no section, rather than to the one before.
        outSection = kNoSection;
        return "a section that cannot be read";
    }
    outSection = section;
    mSections[outSection];
    return nullptr;
}

const char* RegistryFile::TakeValue(std::string_view inContent, Line& outLine,
                                    const std::string& inSection)
{
    const auto isOddControl = [](char inByte) { return IsControl(inByte) && inByte != '\t'; };
    if (std::any_of(inContent.begin(), inContent.end(), isOddControl))
        return "a control character";
    if (!IsUTF8(inContent))
        return "it is not UTF-8";
    std::string name;
    if (!ReadName(inContent, name) || !IsRegistryName(name))
        return "a name that cannot be read";
    inContent.remove_prefix(1); // the "="
    RegistryValue value;
    if (!ReadValue(WithoutBlanks(inContent), value))
        return "a value that cannot be read";
    outLine.kind = LineKind::kValue;
    outLine.name = name;
    mSections[inSection][name] = std::move(value);
    return nullptr;
}

const RegistryValue* RegistryFile::Find(const std::string& inSection,
                                        const std::string& inName) const
{
    const auto section = mSections.find(inSection);
    if (section == mSections.end())
        return nullptr;
    const auto value = section->second.find(inName);
    return value == section->second.end() ? nullptr : &value->second;
}

void RegistryFile::Set(const std::string& inSection, const std::string& inName,
                       const RegistryValue& inValue)
{
    mSections[inSection][inName] = inValue;
    const auto isThisValue = [&](const Line& inLine) { return inLine.IsValue(inSection, inName); };
    // The last one, since that is the one that counts.
    const auto line = std::find_if(mLines.rbegin(), mLines.rend(), isThisValue);
    if (line != mLines.rend())
        line->raw = LineOf(inName, inValue);
    else
        Insert({LineOf(inName, inValue), inSection, inName, LineKind::kValue});
}

void RegistryFile::Insert(Line inLine)
{
    const auto isInSection = [&](const Line& inOther)
    { return inOther.section == inLine.section && inOther.kind != LineKind::kOther; };
    const auto last = std::find_if(mLines.rbegin(), mLines.rend(), isInSection);
    if (last != mLines.rend() || inLine.section.empty())
    {
        const auto place = last != mLines.rend() ? last.base() : mLines.begin();
        mLines.insert(place, std::move(inLine));
        return;
    }
    mLines.push_back({'[' + inLine.section + ']', inLine.section, {}, LineKind::kSection});
    mLines.push_back(std::move(inLine));
}

bool RegistryFile::Remove(const std::string& inSection, const std::string& inName)
{
    const auto section = mSections.find(inSection);
    if (section == mSections.end() || section->second.erase(inName) == 0)
        return false;
    const auto isThisValue = [&](const Line& inLine) { return inLine.IsValue(inSection, inName); };
    mLines.erase(std::remove_if(mLines.begin(), mLines.end(), isThisValue), mLines.end());
    return true;
}

std::string RegistryFile::Text() const
{
    std::string text;
    // The reader takes one byte order mark away: one that belongs to the first line needs its own.
    if (!mLines.empty() && mLines.front().raw.rfind(kByteOrderMark, 0) == 0)
        text = kByteOrderMark;
    for (const Line& line : mLines)
        text += line.raw + '\n';
    return text;
}

} // namespace ZOR
