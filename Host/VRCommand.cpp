#include "VRCommand.h"

#include <algorithm>
#include <cstdint>
#include <iostream>

#include <boost/any.hpp>

#include "CommandLine.h"
#include "VRFields.h"
#include "WholeFile.h"
#include "qelcore/Serialization.h"

namespace RKHost
{

namespace
{

using namespace qelcore::serialization;
using RK::VRConfiguration;

constexpr const char* kCommand = "rkhost vr";
constexpr const char* kVersionKey = "version";
constexpr std::uint16_t kVersion = 3;
constexpr std::size_t kMaxBytes = 64u << 20; // some thousand times what any configuration takes

[[noreturn]] void FailOn(const std::string& inPath, const std::string& inText)
{
    throw HostError(kExit_Failure, inPath + ": " + inText);
}

/// For messages: what others wrote must not steer a terminal.
std::string Quoted(const qelcore::UTF8String& inText)
{
    return qelcore::ToNarrowString(GetJSONUTF8String(inText, false));
}

// A file of VR text. A file that holds something else is none: the library would give the defaults for
// it, and a change would take the place of what it holds.
class VRFile
{
public:
    /// @param inMayBeNew  whether a file that is not there counts as an empty one.
    VRFile(const std::string& inPath, bool inMayBeNew)
        : mPath(inPath)
    {
        std::string text;
        if (!ReadWholeFile(inPath, kMaxBytes, text) && !inMayBeNew)
            FailOn(inPath, "there is no such file");
        if (text.empty())
            return;
        const qelcore::UTF8String json = qelcore::ToUTF8String(text);
        mParsed = JSONParse(json);
        if (mParsed == nullptr || boost::any_cast<Object>(mParsed.get()) == nullptr)
            FailOn(inPath, "is no VR configuration, which is one JSON object");
        mConfiguration = Read(json);
    }

    const VRConfiguration& Configuration() const { return mConfiguration; }

    std::string Version() const
    {
        const Variant version = Find(qelcore::ToUTF8String(kVersionKey));
        if (version == nullptr)
            return "none, read as " + std::to_string(kVersion);
        const std::uint16_t number = NumberOf(*version);
        return std::to_string(number) +
               (number > kVersion ? ", read as " + std::to_string(kVersion) : std::string());
    }

    /// @throw HostError if a change would lose something that the text says.
    void CheckThatNothingWouldBeLost() const
    {
        const Variant version = Find(qelcore::ToUTF8String(kVersionKey));
        if (version != nullptr && NumberOf(*version) > kVersion)
            FailOn(mPath, "is of version " + std::to_string(NumberOf(*version)) +
                              ", and a change would make it one of " + std::to_string(kVersion));
        if (mParsed == nullptr)
            return;
        for (const auto& member : boost::any_cast<const Object&>(*mParsed))
        {
            if (!IsKnown(qelcore::ToNarrowString(member.first)))
                FailOn(mPath, "says " + Quoted(member.first) + ", which a change would lose");
        }
    }

private:
    static std::uint16_t NumberOf(const boost::any& inValue)
    {
        return static_cast<std::uint16_t>(boost::any_cast<unsigned long long>(inValue));
    }
    static bool IsKnown(const std::string& inKey)
    {
        const std::vector<VRField>& fields = VRFields();
        return inKey == kVersionKey ||
               std::any_of(fields.begin(), fields.end(),
                           [&](const VRField& inField) { return inKey == inField.mKey; });
    }
    Variant Find(const qelcore::UTF8String& inKey) const
    {
        return GetVariantInObject(mParsed, inKey);
    }
    static bool CanRead(const boost::any& inObject)
    {
        try
        {
            RK::VRConfigurationFromSerializedString(GetJSONUTF8String(inObject, false));
            return true;
        }
        catch (const boost::bad_any_cast&)
        {
            return false;
        }
    }
    VRConfiguration Read(const qelcore::UTF8String& inText) const
    {
        try
        {
            return RK::VRConfigurationFromSerializedString(inText);
        }
        catch (const boost::bad_any_cast&)
        {
            FailOn(mPath, "the value of \"" + std::string(WrongKey()) + "\" is of the wrong kind");
        }
    }
    /// Which of them it is the library does not say, so each is tried with the version alone.
    const char* WrongKey() const
    {
        const qelcore::UTF8String version = qelcore::ToUTF8String(kVersionKey);
        boost::any object = Object();
        if (const Variant value = Find(version))
            AddToObject(object, version, *value);
        if (!CanRead(object))
            return kVersionKey;
        for (const VRField& field : VRFields())
        {
            const qelcore::UTF8String key = qelcore::ToUTF8String(field.mKey);
            boost::any with = object;
            if (const Variant value = Find(key))
                AddToObject(with, key, *value);
            if (!CanRead(with))
                return field.mKey;
        }
        return "a key";
    }

    const std::string mPath;
    Variant mParsed; // null for an empty file
    VRConfiguration mConfiguration;
};

void Print(const std::string& inVersion, const VRConfiguration& inConfiguration)
{
    const auto line = [](const std::string& inName, const std::string& inValue)
    { return (inName + ":").append(23 - inName.size(), ' ') + inValue + "\n"; };
    std::string text = line("version", inVersion);
    for (const VRField& field : VRFields())
        text += line(field.mName, field.mShow(inConfiguration));
    std::cout << text;
}

std::string OnePath(const char* inVerb, const std::vector<std::string>& inPaths)
{
    if (inPaths.empty() || inPaths[0].empty())
        Refuse(kCommand, std::string(inVerb) + " wants a file");
    if (inPaths.size() > 1)
        Refuse(kCommand,
               std::string(inVerb) + " takes one file, and '" + inPaths[1] + "' is a second one");
    return inPaths[0];
}

void RunShow(const std::vector<std::string>& inArguments)
{
    const std::string path =
        OnePath("vr show", ParseArguments(kCommand, "vr show", {}, inArguments));
    const VRFile file(path, false);
    Print(file.Version(), file.Configuration());
}

struct Change
{
    const VRField* mField;
    std::string mValue;
};

/// Values are checked before any file is looked at.
std::vector<OptionRow> OptionsOf(std::vector<Change>& ioChanges,
                                 const std::vector<std::string>& inNames)
{
    std::vector<OptionRow> options;
    for (std::size_t i = 0; i < inNames.size(); ++i)
    {
        const VRField& field = VRFields()[i];
        options.push_back({inNames[i].c_str(), true, [&ioChanges, &field](const Given& inGiven)
                           {
                               VRConfiguration scratch;
                               if (!field.mSet(inGiven.mValue, scratch))
                                   Refuse(kCommand, inGiven.mName + " takes " + field.mValues +
                                                        ", not '" + inGiven.mValue + "'");
                               ioChanges.push_back({&field, inGiven.mValue});
                           }});
    }
    return options;
}

void RunSet(const std::vector<std::string>& inArguments)
{
    std::vector<std::string> names;
    for (const VRField& field : VRFields())
        names.push_back(std::string("--") + field.mName);
    std::vector<Change> changes;
    const std::string path = OnePath(
        "vr set", ParseArguments(kCommand, "vr set", OptionsOf(changes, names), inArguments));
    if (changes.empty())
        Refuse(kCommand, "vr set wants something to set, such as --projection equirectangular");

    const VRFile file(path, true);
    file.CheckThatNothingWouldBeLost();
    VRConfiguration configuration = file.Configuration();
    for (const Change& change : changes)
        change.mField->mSet(change.mValue, configuration);
    ReplaceWholeFile(path,
                     qelcore::ToNarrowString(RK::VRConfigurationToSerializedString(configuration)));
    Print(std::to_string(kVersion), configuration);
}

std::string HelpOfVR()
{
    std::string text = R"(rkhost vr show FILE
rkhost vr set OPTION... FILE

Shows the VR configuration that a file holds as text (JSON), or changes it. A file that is empty, or is
not there when something is set, has the defaults. A changed file takes the place of the old one at once
and whole. What would be lost in a change (a later version, keys that are not known) is refused.

Options of set:
)";
    for (const VRField& field : VRFields())
    {
        std::string line = std::string("  --") + field.mName;
        line.resize(26, ' ');
        text += line + field.mValues + "\n";
    }
    return text;
}

} // namespace

ExitCode RunVR(const std::vector<std::string>& inArguments)
{
    if (AsksForHelp(inArguments))
    {
        std::cout << HelpOfVR();
        return kExit_OK;
    }
    if (inArguments.empty())
        Refuse(kCommand, "vr shows or sets a file's configuration: which?");
    const std::vector<std::string> rest(inArguments.begin() + 1, inArguments.end());
    if (inArguments[0] == "show")
        RunShow(rest);
    else if (inArguments[0] == "set")
        RunSet(rest);
    else
        Refuse(kCommand, "vr has no verb '" + inArguments[0] + "'");
    return kExit_OK;
}

} // namespace RKHost
