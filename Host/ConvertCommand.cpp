#include "ConvertCommand.h"

#include <cctype>
#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <limits>

#include <RiverKit/RKPixelAspectRatio.h>
#include <RiverKit/RKSDKConversion.h>
#include <RiverKit/RKSDKValidation.h>

#include "CommandLine.h"
#include "qelcore/Guid.h"

namespace RKHost
{

namespace
{

constexpr const char* kCommand = "rkhost convert";

struct Asked
{
    std::string mValue;
    qelmediatypes::RGBColor mMatte = qelmediatypes::kRGBColor_Black;
};

/// What stands behind the arrow of a line.
using Answer = std::string (*)(const Asked& inAsked);

struct Kind
{
    const char* mName;
    const char* mValues; ///< of the SDK, of the back end
    Answer mToBE;        ///< null: there is no such way
    Answer mToSDK;
};

std::string Text(std::int64_t inNumber)
{
    return std::to_string(inNumber);
}

std::string Hex(std::uint64_t inNumber, int inDigits)
{
    char text[32];
    std::snprintf(text, sizeof text, "0x%0*" PRIX64, inDigits, inNumber);
    return text;
}

/// Reads a decimal or "0x" number of 32 bits, signed or not.
std::int32_t Number(const Asked& inAsked)
{
    const std::string& text = inAsked.mValue;
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(text.c_str(), &end, 0);
    if (text.empty() || std::isspace(static_cast<unsigned char>(text[0])) != 0 || *end != '\0' ||
        errno != 0 || number < std::numeric_limits<std::int32_t>::min() ||
        number > std::numeric_limits<std::uint32_t>::max())
        Refuse(kCommand, "'" + text + "' is no number of 32 bits");
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(number));
}

template <class BE, BE (*Convert)(std::int32_t) noexcept>
std::string NumberToBE(const Asked& inAsked)
{
    return Text(Convert(Number(inAsked)));
}

template <class BE, std::int32_t (*Convert)(BE) noexcept>
std::string NumberToSDK(const Asked& inAsked)
{
    return Text(Convert(static_cast<BE>(Number(inAsked))));
}

std::string AlphaToSDK(const Asked& inAsked)
{
    return Text(RK::BEToSDKAlphaType(static_cast<qelmediatypes::AlphaChannel>(Number(inAsked)),
                                     inAsked.mMatte));
}

std::string TimeDisplayToSDK(const Asked& inAsked)
{
    return Hex(
        RK::TimeDisplayToSDKTimeFormat(static_cast<qelmediatypes::TimeDisplay>(Number(inAsked))),
        5);
}

std::string QualityToBE(const Asked& inAsked)
{
    qelmediatypes::RenderQuality quality;
    const QzResult result = RK::ConvertAndValidateForRenderSDKToBEQuality(
        static_cast<QzRenderQuality>(Number(inAsked)), quality);
    return result == kQzSuccess ? Text(quality)
                                : "refused: " + Hex(static_cast<std::uint32_t>(result), 8);
}

/// Four characters are a name, the first of them in the lowest byte.
QzPixelFormat PixelFormatName(const Asked& inAsked)
{
    const std::string& text = inAsked.mValue;
    if (text.size() != 4 || std::isdigit(static_cast<unsigned char>(text[0])) != 0)
        return static_cast<QzPixelFormat>(Number(inAsked));
    QzPixelFormat name = 0;
    for (std::size_t i = 4; i-- > 0;)
        name = name << 8 | static_cast<unsigned char>(text[i]);
    return name;
}

std::string PixelFormatToBE(const Asked& inAsked)
{
    const QzPixelFormat name = PixelFormatName(inAsked);
    const char* const note = RK::IsCustomSDKPixelFormat(name)  ? " (custom)"
                             : RK::IsValidSDKPixelFormat(name) ? ""
                                                               : " (not valid)";
    return Hex(RK::SDKToBEPixelFormat(name), 16) + note;
}

std::string PluginID(const Asked& inAsked)
{
    const std::string& text = inAsked.mValue;
    const auto guid = qelcore::utility::Guid::StringToGUID(text.data(), text.size());
    if (guid.IsNull() && text != "00000000-0000-0000-0000-000000000000")
        Refuse(kCommand, "'" + text + "' is no GUID, such as 267A9BAA-13DE-47e7-9652-6067D5212D2E");
    qzPluginID id;
    RK::GuidToPluginID(guid, id);
    return id;
}

using qelmediatypes::AudioChannelLabel;
using qelmediatypes::FieldType;
using qelmediatypes::PulldownCadence;

constexpr Kind kKinds[] = {
    {"audio-channel-type", "1 to 4, 0 to 3",
     &NumberToBE<RK::AudioChannelType, &RK::SDKToBEAudioChannelType>,
     &NumberToSDK<RK::AudioChannelType, &RK::BEToSDKAudioChannelType>},
    {"audio-sample-type", "0 to 16, -2 to 15",
     &NumberToBE<RK::AudioSampleType, &RK::SDKToBEAudioSampleType>,
     &NumberToSDK<RK::AudioSampleType, &RK::BEToSDKAudioSampleType>},
    {"audio-channel-label", "0, 100 to 119, 127 to 142",
     &NumberToBE<AudioChannelLabel, &RK::SDKToBEAudioChannelLabel>,
     &NumberToSDK<AudioChannelLabel, &RK::BEToSDKAudioChannelLabel>},
    {"field-type", "-1 to 4", &NumberToBE<FieldType, &RK::SDKToBEFieldType>,
     &NumberToSDK<FieldType, &RK::BEToSDKFieldType>},
    {"alpha", "0 to 7, 0 to 3 (with --matte)",
     &NumberToBE<qelmediatypes::AlphaChannel, &RK::SDKToBEAlphaType>, &AlphaToSDK},
    {"time-display", "none, 100 to 113", nullptr, &TimeDisplayToSDK},
    {"pulldown", "0 to 10", &NumberToBE<PulldownCadence, &RK::SDKToQELPulldownCadence>,
     &NumberToSDK<PulldownCadence, &RK::QELToSDKPulldownCadence>},
    {"render-quality", "0 to 4, none", &QualityToBE, nullptr},
    {"pixel-format", "BGRA, or its number; none", &PixelFormatToBE, nullptr},
    {"plugin-id", "none, a GUID", nullptr, &PluginID},
};

const Kind& KindOf(const std::string& inName)
{
    for (const Kind& kind : kKinds)
        if (inName == kind.mName)
            return kind;
    Refuse(kCommand, "there is no kind of value '" + inName + "'");
}

qelmediatypes::RGBColor Color(const Given& inGiven)
{
    const std::string text = inGiven.Text("a colour such as FFFFFF");
    if (text.size() != 6 || text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        Refuse(kCommand, "'" + text + "' is no colour such as FFFFFF");
    const unsigned long color = std::strtoul(text.c_str(), nullptr, 16);
    const auto component = [color](int inShift)
    { return static_cast<float>(color >> inShift & 0xFF) / 255; };
    return {component(16), component(8), component(0)};
}

bool IsNegativeNumber(const std::string& inArgument)
{
    return inArgument.size() > 1 && inArgument[0] == '-' &&
           std::isdigit(static_cast<unsigned char>(inArgument[1])) != 0;
}

/// So that they are not taken for options.
std::vector<std::string> NegativeNumbersLast(const std::vector<std::string>& inArguments)
{
    std::vector<std::string> arguments;
    std::vector<std::string> numbers = {"--"};
    for (const std::string& argument : inArguments)
        (IsNegativeNumber(argument) ? numbers : arguments).push_back(argument);
    if (numbers.size() > 1)
        arguments.insert(arguments.end(), numbers.begin(), numbers.end());
    return arguments;
}

std::string Line(const char* inFrom, const Asked& inAsked, const char* inTo, Answer inAnswer)
{
    if (!inAnswer)
        return std::string();
    return std::string(inFrom) + " " + inAsked.mValue + " -> " + inTo + " " + inAnswer(inAsked) +
           "\n";
}

std::string HelpOfConvert()
{
    std::string text = "rkhost convert KIND VALUE [--matte RRGGBB]\n\n"
                       "Prints what VALUE of the plug-in SDK is for the library (\"be\", its back "
                       "end), and the other way\nround. Every number has an answer: one that means "
                       "nothing gives what the library falls back on.\n\n"
                       "KIND, and the values that mean something on either side:\n";
    for (const Kind& kind : kKinds)
    {
        std::string line = std::string("  ") + kind.mName;
        line.resize(24, ' ');
        text += line + kind.mValues + "\n";
    }
    return text + "\n--matte  the colour that premultiplied alpha is mixed with (000000)\n";
}

} // namespace

ExitCode RunConvert(const std::vector<std::string>& inArguments)
{
    if (AsksForHelp(inArguments))
    {
        std::cout << HelpOfConvert();
        return kExit_OK;
    }
    Asked asked;
    const std::vector<OptionRow> options = {
        {"--matte", true, [&asked](const Given& g) { asked.mMatte = Color(g); }}};
    const std::vector<std::string> words =
        ParseArguments(kCommand, "convert", options, NegativeNumbersLast(inArguments));
    if (words.size() != 2)
        Refuse(kCommand, "convert wants a kind of value and a value");
    const Kind& kind = KindOf(words[0]);
    asked.mValue = words[1];
    // Whole before it is printed: a value that is refused must not leave half a line.
    std::cout << Line("sdk", asked, "be", kind.mToBE) + Line("be", asked, "sdk", kind.mToSDK);
    return kExit_OK;
}

} // namespace RKHost
