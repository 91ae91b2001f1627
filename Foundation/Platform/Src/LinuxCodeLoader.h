#pragma once

#include "Platform/CodeLoader.h"

namespace Platform
{

class LinuxCodeLoader : public ICodeLoader
{
public:
    void* Load(const std::string& inPath, std::string& outError) override;
    void* FindEntry(void* inCode, const std::string& inName, std::string& outError) override;
};

} // namespace Platform
