#include "Sequence.h"

#include <filesystem>

#include <RiverKit/RKStillSequence.h>

#include "HostError.h"
#include "Text.h"

namespace RKHost
{

namespace
{

namespace fs = std::filesystem;

// A folder full of other things may hold numbers that lie far apart, and each number between them
// would be a frame.
constexpr int kMostFrames = 1000000;

fs::path RequireFile(const std::string& inPath)
{
    std::error_code error;
    const fs::file_status status = fs::status(inPath, error);
    if (status.type() == fs::file_type::not_found)
        throw HostError(kExit_Failure, inPath + ": there is no such file");
    if (status.type() == fs::file_type::directory)
        throw HostError(kExit_Usage,
                        inPath + ": is a folder; name one of the files of the sequence in it");
    if (status.type() != fs::file_type::regular)
        throw HostError(kExit_Failure,
                        inPath + ": " + (error ? error.message() : "is not a regular file"));
    return fs::absolute(inPath).lexically_normal();
}

} // namespace

Sequence Sequence::FromExampleFile(const std::string& inPath)
{
    const fs::path path = RequireFile(inPath);
    Sequence result;
    result.mSequence = RK::CreateStillSequenceFromExampleFile(ToLibraryPath(path.string()));
    if (!result.mSequence)
        throw HostError(kExit_Usage, inPath +
                                         ": has no number in its name, so it is not part of a " +
                                         "sequence; --still plays it alone");
    const int count = result.FrameCount();
    if (count < 1 || count > kMostFrames)
        throw HostError(kExit_Failure, inPath + ": the numbers in " + path.parent_path().string() +
                                           " lie too far apart for one sequence (" +
                                           result.DisplayName() + ")");
    return result;
}

Sequence Sequence::FromStill(const std::string& inPath)
{
    Sequence result;
    result.mStill = RequireFile(inPath).string();
    return result;
}

void Sequence::Grow()
{
    if (!mSequence)
        return;
    const std::string first = FramePath(0);
    Sequence now;
    try
    {
        now.mSequence = RK::CreateStillSequenceFromExampleFile(ToLibraryPath(first));
    }
    catch (const qelcore::filesupport::dir_exception&)
    {
        return; // the folder has gone
    }
    if (!now.mSequence || now.FrameCount() > kMostFrames)
        return;
    const int all = now.FrameCount();
    while (now.mSkipped < all && now.FramePath(0) != first)
        ++now.mSkipped;
    if (now.FrameCount() > FrameCount())
        *this = now;
}

int Sequence::FrameCount() const
{
    return mSequence ? mSequence->GetNumberOfFrames() - mSkipped : 1;
}

std::string Sequence::FramePath(int inFrame) const
{
    if (!mSequence)
        return mStill;
    qelcore::UTF16String path;
    mSequence->GenerateNthFileName(mSkipped + inFrame, path);
    return FromLibraryPath(path);
}

std::string Sequence::DisplayName() const
{
    if (!mSequence)
        return fs::path(mStill).filename().string();
    qelcore::UTF16String name;
    mSequence->GetDisplayName(name);
    return FromLibraryPath(name);
}

} // namespace RKHost
