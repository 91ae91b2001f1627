#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace ZOR
{

using RegistryValue = std::variant<std::uint32_t, std::string>; // the text is UTF-8

// The content of one registry file, in the form that RegistryKey.h describes. All texts are UTF-8.
class RegistryFile
{
public:
    struct Problem
    {
        std::size_t line;    ///< from 1; 0 for the file as a whole
        const char* message; ///< a literal
    };

    /// Reads a file. What cannot be read is passed over; the first such places are listed.
    static RegistryFile Parse(std::string_view inBytes);

    const std::vector<Problem>& Problems() const { return mProblems; }
    bool HasSection(const std::string& inSection) const { return mSections.count(inSection) != 0; }
    /// @return null if there is no such value.
    const RegistryValue* Find(const std::string& inSection, const std::string& inName) const;

    void Set(const std::string& inSection, const std::string& inName, const RegistryValue& inValue);
    /// @return false if there was no such value.
    bool Remove(const std::string& inSection, const std::string& inName);
    std::string Text() const;

private:
    enum class LineKind
    {
        kValue,
        kSection,
        kOther, // comments, blanks and what cannot be read
    };
    struct Line
    {
        std::string raw;     // without its end
        std::string section; // the one that it stands in or begins
        std::string name;
        LineKind kind = LineKind::kOther;

        bool IsValue(const std::string& inSection, const std::string& inName) const
        {
            return kind == LineKind::kValue && section == inSection && name == inName;
        }
    };
    // Each returns what is wrong, or null.
    const char* Take(std::string_view inLine, std::string& ioSection);
    const char* TakeSection(std::string_view inContent, Line& outLine, std::string& outSection);
    const char* TakeValue(std::string_view inContent, Line& outLine, const std::string& inSection);
    void AddProblem(std::size_t inLine, const char* inMessage);
    void Insert(Line inLine);

    std::vector<Line> mLines;
    std::map<std::string, std::map<std::string, RegistryValue>> mSections; // "" is the application
    std::vector<Problem> mProblems;                                        // the first few
};

/// Whether a text may be a part of a key's path, or a value's name.
bool IsRegistryName(std::string_view inName);
/// Whether a text may be the path of a section: names with "/" between them.
bool IsRegistrySection(std::string_view inSection);

} // namespace ZOR
