#pragma once

#include "Platform/FileSystem.h"

namespace Platform
{

class LinuxFileSystem : public IFileSystem
{
public:
    int Open(const std::string& inPath, const OpenOptions& inOptions, FileHandle& outFile) override;
    int Read(FileHandle inFile, void* outBytes, std::size_t inSize, std::size_t& outGot) override;
    int ReadAt(FileHandle inFile, std::uint64_t inOffset, void* outBytes, std::size_t inSize,
               std::size_t& outGot) override;
    int Write(FileHandle inFile, const void* inBytes, std::size_t inSize,
              std::size_t& outPut) override;
    int SyncBytes(FileHandle inFile) override;
    int BeginSyncBytes(FileHandle inFile) override;
    int Close(FileHandle inFile) override;
    int Stat(const std::string& inPath, LinkPolicy inPolicy, FileStatus& outStatus) override;
    int StatOpen(FileHandle inFile, FileStatus& outStatus) override;
    int VolumeOf(FileHandle inFile, VolumeTraits& outTraits) override;
    FileTime Now() override;
    int List(const std::string& inPath, LinkPolicy inPolicy,
             std::unique_ptr<IDirectoryListing>& outListing) override;
    int OpenFolder(const std::string& inPath, LinkPolicy inPolicy,
                   std::unique_ptr<IFolder>& outFolder) override;
    int MakeDirectory(const std::string& inPath) override;
    int RemoveDirectory(const std::string& inPath) override;
    int RemoveFile(const std::string& inPath) override;
    int Rename(const std::string& inFrom, const std::string& inTo, RenameMode inMode) override;
    int Link(const std::string& inFrom, const std::string& inTo) override;
    int Touch(const std::string& inPath) override;
    int BlockSize(const std::string& inPath, std::uint64_t& outBytes) override;
    int CurrentDirectory(std::string& outPath) override;
    std::string TempDirectory() override;
};

} // namespace Platform
