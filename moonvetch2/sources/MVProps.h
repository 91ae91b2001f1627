// What plug-ins declare about themselves.
#pragma once

#include <cstddef>
#include <cstdint>

#include "MoonVetch/Host.h"

struct MVProperty
{
    MVProperty* next;
    std::uint32_t vendorID;
    std::uint32_t propertyKey;
    std::uint32_t propertyID;
    PIProperty* piProperty; ///< may be null
    std::int32_t refCon;
    std::int32_t cacheable;
    std::int32_t allocatedByList; ///< the list owns piProperty
};

struct MVPropertyList
{
    MVPropertyList* nextList; ///< look-ups go on there
    MVProperty* head;
    std::uint32_t count;
    std::uint32_t stamp;
};

struct MVPropertyListIterator
{
    MVPropertyList* list;
    MVProperty* current;
    std::uint32_t stamp;
};

/// The data of a property, and how many bytes of them there are; null and 0 without a record.
const unsigned char* mvPropertyData(const PIProperty* inProperty, std::size_t* outBytes);
/// Whether it stands in the plug-in's own list, with or without a record.
bool mvDeclares(const MVPlugin* inPlugin, std::uint32_t inKey);
/// Of the plug-in's own list, without asking it; null if it declares none, or has answered that
/// it has none.
const PIProperty* mvDeclaredProperty(const MVPlugin* inPlugin, std::uint32_t inKey);
/// The bits of 'AcpM'; 0 without it.
std::uint8_t mvCapabilities(const MVPlugin* inPlugin);
