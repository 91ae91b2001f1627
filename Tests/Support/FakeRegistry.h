#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>

#include "Foundation/ZOR/Src/Registry/RegistryFile.h"
#include "Foundation/ZOR/Src/Registry/RegistryStore.h"
#include "ZOR/RegistryKey.h"
#include "qelcore/TextConversion.h"

namespace Testing
{

/// A registry in memory, empty at first, for as long as it lives. Values may be set from any
/// thread.
class FakeRegistry : public ZOR::IRegistryStore
{
public:
    /// Sets a value of the application's base key.
    void Set(const std::string& inName, std::uint32_t inValue)
    {
        Change([&](ZOR::RegistryFile& ioFile) { ioFile.Set("", inName, inValue); });
    }
    void SetText(const std::string& inName, const std::string& inValue)
    {
        Change([&](ZOR::RegistryFile& ioFile) { ioFile.Set("", inName, inValue); });
    }
    void Remove(const std::string& inName)
    {
        Change([&](ZOR::RegistryFile& ioFile) { ioFile.Remove("", inName); });
    }
    /// Puts bytes in the place of the base key's file.
    void SetFile(const std::string& inBytes) { Put(BasePath(), inBytes); }
    void RemoveFile()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mFiles.erase(BasePath());
    }
    std::string File()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto file = mFiles.find(BasePath());
        return file == mFiles.end() ? std::string() : file->second.bytes;
    }

    std::atomic<bool> failReads{false};
    std::atomic<bool> failWrites{false};
    std::atomic<int> reads{0};
    std::atomic<int> stamps{0};
    std::string folder = "/config"; ///< empty: there is no place for settings

    std::string ConfigFolder() override { return folder; }
    ZOR::RegistryFileStamp Stamp(const std::string& inPath) override
    {
        ++stamps;
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto file = mFiles.find(inPath);
        if (file == mFiles.end())
            return {};
        return {true, file->second.ticket, file->second.bytes.size(), 0, 0};
    }
    bool Read(const std::string& inPath, std::size_t inMaxBytes, std::string& outBytes) override
    {
        ++reads;
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto file = mFiles.find(inPath);
        if (failReads || file == mFiles.end() || file->second.bytes.size() > inMaxBytes)
            return false;
        outBytes = file->second.bytes;
        return true;
    }
    bool Write(const std::string& inPath, const std::string& inBytes) override
    {
        if (failWrites)
            return false;
        Put(inPath, inBytes);
        return true;
    }

private:
    struct StoredFile
    {
        std::string bytes;
        std::uint64_t ticket; // another one after each change
    };

    std::string BasePath() const
    {
        return folder + '/' + qelcore::utility::UTF16ToFileName(ZOR::GetRegistryBaseKey()) +
               "/registry.conf";
    }
    void Put(const std::string& inPath, const std::string& inBytes)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mFiles[inPath] = {inBytes, ++mTicket};
    }
    template <class Edit>
    void Change(const Edit& inEdit)
    {
        ZOR::RegistryFile file = ZOR::RegistryFile::Parse(File());
        inEdit(file);
        SetFile(file.Text());
    }

    std::mutex mMutex;
    std::map<std::string, StoredFile> mFiles;
    std::uint64_t mTicket = 0;
    ZOR::ScopedRegistryStore mScope{*this};
};

} // namespace Testing
