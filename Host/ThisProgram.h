#pragma once

#include <string>
#include <vector>

namespace RKHost
{

// Running this program once more, as a child.
inline constexpr const char* kThisProgram = "/proc/self/exe";
inline constexpr int kCannotRun = 127; // what the child answers then, as shells have it

/// Arguments in the form of execv, with the program's name in front. Made ahead of the fork, since nothing may be
/// allocated behind it.
class ProgramArguments
{
public:
    /// @param inArguments  without the program's name.
    explicit ProgramArguments(const std::vector<std::string>& inArguments)
        : mTexts(inArguments)
    {
        mTexts.insert(mTexts.begin(), "rkhost");
        for (std::string& text : mTexts)
            mPointers.push_back(text.data());
        mPointers.push_back(nullptr);
    }
    ProgramArguments(const ProgramArguments&) = delete;
    ProgramArguments& operator=(const ProgramArguments&) = delete;

    char* const* Get() const { return mPointers.data(); }

private:
    std::vector<std::string> mTexts;
    std::vector<char*> mPointers;
};

} // namespace RKHost
