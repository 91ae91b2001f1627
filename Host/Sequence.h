#pragma once

#include <string>

#include <boost/shared_ptr.hpp>

namespace RK
{
class StillSequence;
}

namespace RKHost
{

// What is played: the frames of a numbered sequence, or a single still.
class Sequence
{
public:
    /// @param inPath  any one file of the sequence. It must be there; its neighbours need not.
    /// @throw HostError if it is not there, is a folder, or has no number in its name.
    static Sequence FromExampleFile(const std::string& inPath);
    /// @throw HostError if the file is not there or is a folder.
    static Sequence FromStill(const std::string& inPath);

    /// Looks at the folder again. A sequence of numbers goes on to the last that is there now; ones before the
    /// first are left out, so that each frame keeps its number. It never gets shorter.
    void Grow();

    /// Numbers without a file are counted.
    int FrameCount() const;
    /// @param inFrame  from 0 to FrameCount() - 1.
    std::string FramePath(int inFrame) const;
    /// "shot_[0001-0240].tif"
    std::string DisplayName() const;

private:
    boost::shared_ptr<RK::StillSequence> mSequence; ///< null for a single still
    int mSkipped = 0; ///< frames of mSequence that are left out at its begin
    std::string mStill;
};

} // namespace RKHost
