// Names of stills: a folder of files with any names, of which one is the example that a sequence is
// recognised from. Whatever the names are, the sequence must hold together, and its text must not crash.
#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "RKStillSequence.h"
#include "qelcore/TextConversion.h"

#include "Tests/Support/MemoryFileSystem.h"

namespace
{

using qelcore::UTF16String;
using qelcore::utility::FileNameToUTF16;

void Require(bool inCondition)
{
    if (!inCondition)
        std::abort();
}

bool Begins(const UTF16String& inText, const UTF16String& inStart)
{
    return inText.compare(0, inStart.size(), inStart) == 0;
}

bool Ends(const UTF16String& inText, const UTF16String& inEnd)
{
    return inText.size() >= inEnd.size() &&
           inText.compare(inText.size() - inEnd.size(), inEnd.size(), inEnd) == 0;
}

/// Names by lines, as the system takes them: no empty ones, no slash, no NUL, 255 bytes at most.
std::vector<std::string> NamesIn(std::string_view inText)
{
    std::vector<std::string> names;
    while (!inText.empty() && names.size() < 32)
    {
        const std::size_t end = std::min(inText.find('\n'), inText.size());
        const std::string name(inText.substr(0, std::min<std::size_t>(end, 255)));
        inText.remove_prefix(std::min(end + 1, inText.size()));
        if (!name.empty() && name != "." && name != ".." &&
            name.find_first_of(std::string_view("/\0", 2)) == std::string::npos)
            names.push_back(name);
    }
    return names;
}

// What is true of every numeric sequence that was recognised, whatever its example.
void CheckNumeric(const RK::StillSequence& inSequence, const UTF16String& inExample)
{
    UTF16String prefix, suffix;
    int first = 0, last = 0, width = 0;
    bool zeroPadded = false;
    inSequence.GetNumericItems(prefix, suffix, first, last, width, zeroPadded);
    Require(inSequence.GetStillSequenceType() == RK::kStillSequenceType_Numeric);
    Require(Begins(inExample, prefix) && Ends(inExample, suffix));
    Require(first <= last && first >= 0 && width >= 1 && inSequence.GetNumberOfFrames() >= 1);

    UTF16String path, beyond, shown;
    inSequence.GenerateNthFileName(0, path);
    Require(Begins(path, u"/f/" + prefix) && Ends(path, suffix));
    inSequence.GenerateNthFileName(inSequence.GetNumberOfFrames() - 1, path);
    inSequence.GenerateNthFileName(INT_MAX, beyond);
    Require(path == beyond);
    inSequence.GenerateNthFileName(INT_MIN, path);
    inSequence.GetDisplayName(shown);
    Require(Begins(shown, prefix + u"[") && Ends(shown, u"]" + suffix));
}

void CheckState(const RK::StillSequence& inSequence)
{
    if (inSequence.GetNumberOfFrames() < 1000) // it looks at each frame
        Require(inSequence.GetModificationState({}) == inSequence.GetModificationState({}));
}

void CheckRecognition(const std::vector<std::string>& inNames)
{
    const UTF16String example = FileNameToUTF16(inNames.front());
    const RK::StillSequencePtr sequence = RK::CreateStillSequenceFromExampleFile(u"/f/" + example);
    if (sequence == nullptr)
        return;
    CheckNumeric(*sequence, example);
    CheckState(*sequence);
    // An example of the sequence that the example itself leads to leads to the same.
    UTF16String path;
    sequence->GenerateNthFileName(0, path);
    Require(RK::CreateStillSequenceFromExampleFile(path) != nullptr);
}

void CheckClassic(const std::vector<std::string>& inNames)
{
    const UTF16String name = FileNameToUTF16(inNames.front());
    try
    {
        const RK::StillSequence sequence(qelcore::filesupport::Dir(u"/f"), name);
        const bool found = sequence.GetStillSequenceType() == RK::kStillSequenceType_Classic;
        Require(!found || sequence.GetNumberOfFrames() >= 2);
        Require(sequence.GetNumberOfFrames() <= static_cast<int>(inNames.size()) + 1);
        UTF16String path;
        sequence.GenerateNthFileName(sequence.GetNumberOfFrames(), path);
        CheckState(sequence);
        for (const int step : {1, -1, INT_MAX, INT_MIN})
            sequence.IncrementClassicStillSequencePath(name, path, step);
    }
    catch (const std::out_of_range&)
    {
        Require(name.find(u'.') == UTF16String::npos || name.find(u'\\') != UTF16String::npos);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inBytes, std::size_t inSize)
{
    const std::vector<std::string> names =
        NamesIn(std::string_view(reinterpret_cast<const char*>(inBytes), inSize));
    if (names.empty())
        return 0;
    Testing::MemoryFileSystem disk;
    for (const std::string& name : names)
        disk.AddFile("/f/" + name);
    CheckRecognition(names);
    CheckClassic(names);
    return 0;
}
