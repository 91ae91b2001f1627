#pragma once

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "ImporterFixture.h"
#include "Support/TemporaryFolder.h"

namespace RKHostTests
{

/// A folder for frames, removed with all in it at the end.
class FrameFolder : public Testing::TemporaryFolder
{
public:
    using Testing::TemporaryFolder::Write;
    std::string Write(const std::string& inName, const Bytes& inBytes) const
    {
        return Write(inName, std::string(inBytes.begin(), inBytes.end()));
    }

    /// Writes copies of an image as frames named prefix + number of four digits + extension.
    /// @return the path of the first.
    std::string WriteFrames(const std::string& inImage, const std::string& inPrefix,
                            const std::vector<int>& inNumbers) const
    {
        const Bytes image = TestFile(inImage);
        const std::string extension = std::filesystem::path(inImage).extension();
        std::string first;
        for (const int number : inNumbers)
        {
            char name[64];
            std::snprintf(name, sizeof name, "%s%04d%s", inPrefix.c_str(), number,
                          extension.c_str());
            const std::string path = Write(name, image);
            first = first.empty() ? path : first;
        }
        return first;
    }
};

} // namespace RKHostTests
