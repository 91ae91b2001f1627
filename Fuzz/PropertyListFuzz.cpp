// Properties of strangers: any bytes are refused, or are a list that can be added, looked through and searched,
// and names a plug-in.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "MoonVetch/Host.h"

namespace
{

void Require(bool inCondition)
{
    if (!inCondition)
        std::abort();
}

std::uint32_t CountOf(const std::vector<std::uint8_t>& inList)
{
    std::uint32_t count = 0;
    std::memcpy(&count, inList.data() + 4, sizeof count);
    return count;
}

// Each is found again, or a later one of equal keys, and all of its bytes may be read.
std::uint32_t LookThrough(MVPropertyList* inList)
{
    MVPropertyListIterator* iterator = nullptr;
    Require(MVNewPropertyListIterator(inList, &iterator) == kMVNoError);
    std::uint32_t met = 0;
    MVProperty* property = nullptr;
    while (MVNextProperty(iterator, &property) == kMVNoError && property != nullptr)
    {
        ++met;
        PIProperty* record = nullptr;
        Require(MVGetPropertyPIProperty(property, &record) == kMVNoError && record != nullptr);
        const std::vector<std::uint8_t> copy(reinterpret_cast<const std::uint8_t*>(record + 1),
                                             reinterpret_cast<const std::uint8_t*>(record + 1) +
                                                 record->propertyLength);
        MVProperty* found = nullptr;
        MVFindProperty(inList, record->vendorID, record->propertyKey, record->propertyID, &found);
        Require(found != nullptr && copy.size() == record->propertyLength);
    }
    Require(MVDeletePropertyListIterator(iterator) == kMVNoError);
    return met;
}

void CheckPlugin(const PIPropertyList* inList)
{
    MVPlugin* plugin = nullptr;
    // A name may be too long to be interned.
    if (MVAddPlugin(nullptr, "/a.so", inList, kMVMoonVetch2Adapter, nullptr, &plugin) != kMVNoError)
    {
        Require(plugin == nullptr);
        return;
    }
    MVWString name = nullptr;
    Require(MVGetPluginName(plugin, &name) == kMVNoError);
    Require(name == nullptr || std::strlen(name) < 30000);
    MVStartupPlugins();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inBytes, std::size_t inSize)
{
    // Exactly as long as it is, and where a record may lie.
    const std::vector<std::uint8_t> bytes(inBytes, inBytes + inSize);
    if (MVCheckPropertyList(bytes.data(), bytes.size()) != kMVNoError)
        return 0;
    const auto* records = reinterpret_cast<const PIPropertyList*>(bytes.data());
    Require(MVInit(nullptr, 0, 0) == kMVNoError);
    MVPropertyList* list = nullptr;
    Require(MVAllocatePropertyList(&list) == kMVNoError);
    Require(MVAddProperties(list, records, 0, 1) == kMVNoError);
    Require(LookThrough(list) == CountOf(bytes));
    Require(MVFreePropertyList(list) == kMVNoError);
    CheckPlugin(records);
    Require(MVTerm() == kMVNoError);
    return 0;
}
