#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "MoonVetch/Types.h"
#include "Support/TemporaryFolder.h"

namespace Testing
{

/// Property data as a file holds them, record by record.
class PropertyBytes
{
public:
    PropertyBytes& Add(std::uint32_t inKey, const std::string& inData,
                       std::uint32_t inVendor = kMVVendorID, std::uint32_t inID = 0)
    {
        ++mCount;
        for (const std::uint32_t word :
             {inVendor, inKey, inID, static_cast<std::uint32_t>(inData.size())})
            mRecords += Word(word);
        mRecords += inData;
        mRecords.resize((mRecords.size() + 3) / 4 * 4);
        return *this;
    }
    PropertyBytes& Name(const std::string& inName) { return Add(kMVProperty_Name, inName + '\0'); }
    /// @param inEntry  "" for the names that are tried by default.
    PropertyBytes& Entry(const std::string& inEntry)
    {
        return Add(kMVProperty_CodeEntry, static_cast<char>(inEntry.size()) + inEntry);
    }
    std::string Bytes() const { return Word(1) + Word(mCount) + mRecords; }

    static std::string Word(std::uint32_t inWord)
    {
        return std::string(reinterpret_cast<const char*>(&inWord), sizeof inWord);
    }

private:
    std::uint32_t mCount = 0;
    std::string mRecords;
};

inline std::string BytesOfFile(const std::string& inPath)
{
    std::ifstream file(inPath, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

/// A shared object of Tests/Support/Code, which knows nothing of plug-ins.
inline std::string CodeSample(const std::string& inName)
{
    return RK_TEST_CODE "/" + inName + ".so";
}

/// A plug-in that the tests build: a file or a bundle folder.
inline std::string PluginSample(const std::string& inName)
{
    return RK_TEST_PLUGINS "/" + inName;
}

/// A bundle folder around a shared object, with one property list.
inline std::string MakeBundle(const TemporaryFolder& inFolder, const std::string& inName,
                              const std::string& inCodeFile, const std::string& inProperties)
{
    inFolder.Write(inName + ".plugin/Contents/Linux/" + inName + ".so", BytesOfFile(inCodeFile));
    inFolder.Write(inName + ".plugin/Contents/Resources/" + inName + ".mvproperties", inProperties);
    return inFolder.Path(inName + ".plugin");
}

} // namespace Testing
