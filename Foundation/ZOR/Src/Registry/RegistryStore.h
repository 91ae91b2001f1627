#pragma once

#include <cstdint>
#include <string>

namespace ZOR
{

// The state of a file, as far as it tells whether the file has changed.
struct RegistryFileStamp
{
    bool exists = false;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t modifiedSeconds = 0;
    std::uint32_t modifiedNanoseconds = 0;

    bool operator==(const RegistryFileStamp&) const = default;
};

// Where registry files are kept. Paths are those of the file system, in its own bytes.
class IRegistryStore
{
public:
    virtual ~IRegistryStore() = default;
    /// The folder of all applications' settings, without a slash at its end; empty if there is
    /// none.
    virtual std::string ConfigFolder() = 0;
    virtual RegistryFileStamp Stamp(const std::string& inPath) = 0;
    /// @return false if the file cannot be read, or holds more than inMaxBytes.
    virtual bool Read(const std::string& inPath, std::size_t inMaxBytes, std::string& outBytes) = 0;
    /// Puts a whole new file in the place of the old one, and makes its folder if there is none.
    /// @return false if the file is as it was.
    virtual bool Write(const std::string& inPath, const std::string& inBytes) = 0;
};

/// Puts a store in the place of the real one for its life. One at a time, made and destroyed while
/// no other thread uses the registry.
class ScopedRegistryStore
{
public:
    explicit ScopedRegistryStore(IRegistryStore& inStore);
    ~ScopedRegistryStore();
    ScopedRegistryStore(const ScopedRegistryStore&) = delete;
    ScopedRegistryStore& operator=(const ScopedRegistryStore&) = delete;

private:
    IRegistryStore* mBefore;
};

/// The store in force.
IRegistryStore& RegistryStore();
/// Moves whenever another store comes into force: what was read from one says nothing about the
/// next.
std::uint32_t RegistryStoreGeneration();

} // namespace ZOR
