#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "Platform/CodeLoader.h"

namespace Testing
{

// Code that the test makes up: paths with entries. It writes down what was asked of it. One thread.
class FakeCodeLoader : public Platform::ICodeLoader
{
public:
    using Entries = std::map<std::string, void*>;

    void Add(const std::string& inPath, Entries inEntries) { mCode[inPath] = std::move(inEntries); }
    /// The same for an entry of any type of function.
    template <class Function>
    void AddEntry(const std::string& inPath, const std::string& inName, Function* inEntry)
    {
        mCode[inPath][inName] = reinterpret_cast<void*>(inEntry);
    }

    void* Load(const std::string& inPath, std::string& outError) override
    {
        loads.push_back(inPath);
        const auto code = mCode.find(inPath);
        outError = code == mCode.end() ? inPath + ": there is no such code" : "";
        return code == mCode.end() ? nullptr : &code->second;
    }
    void* FindEntry(void* inCode, const std::string& inName, std::string& outError) override
    {
        lookUps.push_back(inName);
        const Entries& entries = *static_cast<const Entries*>(inCode);
        const auto entry = entries.find(inName);
        outError = entry == entries.end() ? "undefined symbol: " + inName : "";
        return entry == entries.end() ? nullptr : entry->second;
    }

    std::vector<std::string> loads;
    std::vector<std::string> lookUps;

private:
    std::map<std::string, Entries> mCode;

    Platform::ScopedCodeLoader mScope{*this};
};

} // namespace Testing
