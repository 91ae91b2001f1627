// What a plug-in says it exports: any bytes are searched without a look past them, and start nobody but who names
// the suite.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "MoonVetch/Host.h"

namespace
{

void Require(bool inCondition)
{
    if (!inCondition)
        std::abort();
}

// One property with these data. The list is as long as it says, to the byte.
std::vector<std::uint8_t> ListOf(const std::uint8_t* inData, std::size_t inSize)
{
    const std::uint32_t header[] = {
        0, 1, kMVVendorID, kMVProperty_Exports, 0, static_cast<std::uint32_t>(inSize)};
    std::vector<std::uint8_t> list(sizeof header + (inSize + 3) / 4 * 4);
    std::memcpy(list.data(), header, sizeof header);
    if (inSize > 0)
        std::memcpy(list.data() + sizeof header, inData, inSize);
    return list;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inBytes, std::size_t inSize)
{
    const std::vector<std::uint8_t> list = ListOf(inBytes, inSize);
    Require(MVCheckPropertyList(list.data(), list.size()) == kMVNoError);
    Require(MVInit(nullptr, 0, 0) == kMVNoError);
    MVPlugin* plugin = nullptr;
    Require(MVAddPlugin(nullptr, "/a.so", reinterpret_cast<const PIPropertyList*>(list.data()),
                        kMVMoonVetch2Adapter, nullptr, &plugin) == kMVNoError);
    const std::string data(reinterpret_cast<const char*>(inBytes), inSize);
    for (const char* name : {"Suite", "a", ""})
    {
        std::int32_t started = -1;
        Require(MVStartupExport(nullptr, name, 1, &started) == kMVNoError);
        std::int32_t marked = -1;
        Require(MVGetPluginStarted(plugin, &marked) == kMVNoError && marked == started);
        Require(started == 0 || data.find(std::string(name) + '\0') != std::string::npos);
        Require(MVSetPluginStarted(plugin, 0) == kMVNoError);
    }
    Require(MVTerm() == kMVNoError);
    return 0;
}
