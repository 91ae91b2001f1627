#pragma once

// What the tests of adapters share.
#include "PluginsFixture.h"

namespace Testing
{

class AdapterListTest : public PluginsFixture
{
protected:
    static MVAdapter* Find(const char* inName)
    {
        MVAdapter* adapter = nullptr;
        EXPECT_EQ(kMVNoError, MVFindAdapter(nullptr, inName, &adapter));
        return adapter;
    }
};

class AdapterLifeTest : public AdapterListTest
{
protected:
    /// Answers a selector of "MV Adapters".
    static ScriptedPlugin::Answer At(const char* inSelector,
                                     std::function<MVResult(MVAdaptersMessage&)> inAnswer)
    {
        return [=](const std::string& inCaller, const std::string& inSelected, void* ioMessage)
        {
            if (inCaller == kMVPropertiesCaller)
                return MVResult{kMVNotImplementedError};
            if (inCaller != kMVAdaptersCaller || inSelected != inSelector)
                return MVResult{kMVNoError};
            return inAnswer(*static_cast<MVAdaptersMessage*>(ioMessage));
        };
    }
};

} // namespace Testing
