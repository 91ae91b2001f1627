#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "MoonVetch/Host.h"

namespace Testing
{

/// A word as it lies in memory.
inline std::string Word(std::uint32_t inWord)
{
    return {reinterpret_cast<const char*>(&inWord), sizeof inWord};
}

inline std::string Padded(std::string inBytes)
{
    inBytes.resize((inBytes.size() + 3) / 4 * 4);
    return inBytes;
}

/// One property as it is stored, with its padding.
inline std::string RecordBytes(std::uint32_t inKey, const std::string& inData,
                               std::uint32_t inVendorID = kMVVendorID, std::uint32_t inID = 0)
{
    return Word(inVendorID) + Word(inKey) + Word(inID) +
           Word(static_cast<std::uint32_t>(inData.size())) + Padded(inData);
}

inline std::string ListBytes(const std::vector<std::string>& inRecords)
{
    std::string bytes = Word(0) + Word(static_cast<std::uint32_t>(inRecords.size()));
    for (const std::string& record : inRecords)
        bytes += record;
    return bytes;
}

inline std::string ExportBytes(const std::string& inName, std::int32_t inVersion)
{
    const std::string entry = Padded(inName + '\0') + Word(static_cast<std::uint32_t>(inVersion));
    return Word(static_cast<std::uint32_t>(entry.size())) + entry;
}

/// The data of 'expt'.
inline std::string ExportsData(const std::vector<std::pair<std::string, std::int32_t>>& inExports)
{
    std::string data = Word(static_cast<std::uint32_t>(inExports.size()));
    for (const auto& [name, version] : inExports)
        data += ExportBytes(name, version);
    return data;
}

inline std::string PascalString(const std::string& inText)
{
    return static_cast<char>(inText.size()) + inText;
}

/// Bytes that lie where a record may.
class AlignedBytes
{
public:
    explicit AlignedBytes(const std::string& inBytes)
        : mWords(inBytes.size() / 4 + 1)
    {
        std::memcpy(mWords.data(), inBytes.data(), inBytes.size());
    }
    PIPropertyList* List() { return reinterpret_cast<PIPropertyList*>(mWords.data()); }
    PIProperty* Property() { return reinterpret_cast<PIProperty*>(mWords.data()); }

private:
    std::vector<std::uint32_t> mWords;
};

/// Puts a property into a plug-in's own list.
inline void Declare(MVPlugin* inPlugin, std::uint32_t inKey, const std::string& inData)
{
    AlignedBytes record(RecordBytes(inKey, inData));
    MVPropertyList* list = nullptr;
    MVGetPluginPropertyList(inPlugin, &list);
    MVAddProperty(list, kMVVendorID, inKey, 0, record.Property(), 0, 1, nullptr);
}

} // namespace Testing
