#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

#include <stdlib.h>

namespace Testing
{

/// A new empty folder of the real disk, removed with all in it at the end.
class TemporaryFolder
{
public:
    TemporaryFolder()
        : TemporaryFolder(std::filesystem::temp_directory_path())
    {
    }
    explicit TemporaryFolder(const std::filesystem::path& inParent)
    {
        std::string pattern = (inParent / "rk-test-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("no temporary folder");
        mPath = pattern;
    }
    ~TemporaryFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& Path() const { return mPath; }
    /// @param inName  relative, and may hold slashes.
    std::string Path(const std::string& inName) const { return mPath + "/" + inName; }

    /// Writes a file, in place if it is there already, and makes the folders above it.
    std::string Write(const std::string& inName, const std::string& inContents) const
    {
        const std::string path = Path(inName);
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path, std::ios::binary | std::ios::trunc) << inContents;
        return path;
    }
    std::string Read(const std::string& inName) const
    {
        std::ifstream file(Path(inName), std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    std::string MakeFolder(const std::string& inName) const
    {
        std::filesystem::create_directories(Path(inName));
        return Path(inName);
    }

private:
    std::string mPath;
};

} // namespace Testing
