#pragma once

#include <string>

namespace Platform
{

// A small file of the system's own (below /proc or /sys) that is read again and again: opened at the
// first read and kept open, which makes a read several times cheaper. One thread at a time. In a child
// after fork it still tells of the parent, so its owner makes a new one there.
class KeptFile
{
public:
    explicit KeptFile(std::string inPath)
        : mPath(std::move(inPath))
    {
    }
    ~KeptFile();
    KeptFile(const KeptFile&) = delete;
    KeptFile& operator=(const KeptFile&) = delete;

    /// Reads the whole text. @return false if it cannot be read; the next call tries to open it anew.
    bool Read(std::string& outText);

private:
    bool ReadOpen(std::string& outText);
    void Close();

    const std::string mPath;
    int mFile = -1;
};

} // namespace Platform
