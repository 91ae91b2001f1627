#include "MVProps.h"

#include <cstring>

#include "MVPlugs.h"
#include "MVRecord.h"
#include "MVThread.h"

static_assert(sizeof(PIProperty) == 16);
static_assert(sizeof(PIPropertyList) == 8);

namespace
{

std::size_t paddedSize(const PIProperty& inHeader)
{
    const std::size_t unpadded = sizeof(PIProperty) + std::size_t{inHeader.propertyLength};
    return (unpadded + 3) / 4 * 4;
}

// Lists of strangers need not begin where a word may.
PIProperty headerAt(const unsigned char* inRecord)
{
    PIProperty header;
    std::memcpy(&header, inRecord, sizeof header);
    return header;
}

// The padding is zero, whatever follows the data there.
MVResult copyRecord(const void* inRecord, PIProperty** outCopy)
{
    const PIProperty header = headerAt(static_cast<const unsigned char*>(inRecord));
    void* block = nullptr;
    const MVResult result = mvIntAllocateBlock(paddedSize(header), "a PIProperty", &block);
    if (result == kMVNoError)
        std::memcpy(block, inRecord, sizeof header + std::size_t{header.propertyLength});
    *outCopy = static_cast<PIProperty*>(block);
    return result;
}

void linkProperty(MVPropertyList* ioList, MVProperty* ioProperty)
{
    ioProperty->next = ioList->head;
    ioList->head = ioProperty;
    ++ioList->count;
    ++ioList->stamp;
}

MVResult addRecord(MVPropertyList* ioList, const unsigned char* inRecord, std::int32_t inRefCon,
                   std::int32_t inCacheable)
{
    PIProperty* copy = nullptr;
    MVResult result = copyRecord(inRecord, &copy);
    if (result != kMVNoError)
        return result;
    MVProperty* property = nullptr;
    result = mvIntAllocateRecord("an MVProperty", &property);
    if (result != kMVNoError)
    {
        mvIntFreeBlock(copy);
        return result;
    }
    *property = MVProperty{.next = nullptr,
                           .vendorID = copy->vendorID,
                           .propertyKey = copy->propertyKey,
                           .propertyID = copy->propertyID,
                           .piProperty = copy,
                           .refCon = inRefCon,
                           .cacheable = inCacheable,
                           .allocatedByList = 1};
    linkProperty(ioList, property);
    return kMVNoError;
}

MVProperty* findInList(const MVPropertyList* inList, std::uint32_t inVendorID, std::uint32_t inKey,
                       std::uint32_t inID)
{
    MVProperty* property = inList->head;
    while (property != nullptr &&
           (property->propertyKey != inKey || property->vendorID != inVendorID ||
            property->propertyID != inID))
        property = property->next;
    return property;
}

MVResult freeOneList(MVPropertyList* inList)
{
    for (MVProperty* property = inList->head; property != nullptr;)
    {
        MVProperty* next = property->next;
        if (property->allocatedByList != 0 && property->piProperty != nullptr)
            mvIntFreeBlock(property->piProperty);
        mvIntFreeBlock(property);
        property = next;
    }
    return mvIntFreeBlock(inList);
}

} // namespace

const unsigned char* mvPropertyData(const PIProperty* inProperty, std::size_t* outBytes)
{
    *outBytes = inProperty != nullptr ? inProperty->propertyLength : 0;
    return inProperty != nullptr ? reinterpret_cast<const unsigned char*>(inProperty + 1) : nullptr;
}

bool mvDeclares(const MVPlugin* inPlugin, std::uint32_t inKey)
{
    MVProperty* property = nullptr;
    MVFindProperty(inPlugin->propertyList, kMVVendorID, inKey, 0, &property);
    return property != nullptr;
}

const PIProperty* mvDeclaredProperty(const MVPlugin* inPlugin, std::uint32_t inKey)
{
    MVProperty* property = nullptr;
    MVFindProperty(inPlugin->propertyList, kMVVendorID, inKey, 0, &property);
    return property != nullptr ? property->piProperty : nullptr;
}

std::uint8_t mvCapabilities(const MVPlugin* inPlugin)
{
    std::size_t bytes = 0;
    const unsigned char* data =
        mvPropertyData(mvDeclaredProperty(inPlugin, kMVProperty_Capabilities), &bytes);
    return bytes > 0 ? data[0] : 0;
}

MVResult MVCheckPropertyList(const void* data, size_t bytes)
{
    if (data == nullptr || bytes < sizeof(PIPropertyList))
        return kMVBadParameterError;
    PIPropertyList list;
    std::memcpy(&list, data, sizeof list);
    const auto* record = static_cast<const unsigned char*>(data) + sizeof list;
    std::size_t left = bytes - sizeof list;
    for (std::uint32_t i = 0; i < list.count; ++i)
    {
        if (left < sizeof(PIProperty))
            return kMVBadParameterError;
        const std::size_t size = paddedSize(headerAt(record));
        if (left < size)
            return kMVBadParameterError;
        record += size;
        left -= size;
    }
    return kMVNoError;
}

MVResult MVAllocatePropertyList(MVPropertyList** out)
{
    MV_ONE_THREAD();
    return out != nullptr ? mvIntAllocateRecord("an MVPropertyList", out) : kMVBadParameterError;
}

MVResult MVFreePropertyList(MVPropertyList* list)
{
    MV_ONE_THREAD();
    MVResult result = kMVNoError;
    while (list != nullptr && result == kMVNoError)
    {
        MVPropertyList* next = list->nextList;
        result = freeOneList(list);
        list = next;
    }
    return result;
}

MVResult MVAddProperties(MVPropertyList* list, const PIPropertyList* records, int32_t refCon,
                         int32_t cacheable)
{
    MV_ONE_THREAD();
    if (list == nullptr || records == nullptr)
        return kMVBadParameterError;
    PIPropertyList header;
    std::memcpy(&header, records, sizeof header);
    const auto* record = reinterpret_cast<const unsigned char*>(records) + sizeof header;
    MVResult result = kMVNoError;
    for (std::uint32_t i = 0; i < header.count && result == kMVNoError; ++i)
    {
        const std::size_t size = paddedSize(headerAt(record));
        result = addRecord(list, record, refCon, cacheable);
        record += size;
    }
    return result;
}

// The node comes first: it stays when its record cannot be copied.
MVResult MVAddProperty(MVPropertyList* list, uint32_t vendorID, uint32_t propertyKey,
                       uint32_t propertyID, const PIProperty* record, int32_t refCon,
                       int32_t cacheable, MVProperty** out)
{
    MV_ONE_THREAD();
    if (out != nullptr)
        *out = nullptr;
    if (list == nullptr)
        return kMVBadParameterError;
    MVProperty* property = nullptr;
    MVResult result = mvIntAllocateRecord("an MVProperty", &property);
    if (result != kMVNoError)
        return result;
    *property = MVProperty{.next = nullptr,
                           .vendorID = vendorID,
                           .propertyKey = propertyKey,
                           .propertyID = propertyID,
                           .piProperty = nullptr,
                           .refCon = refCon,
                           .cacheable = cacheable,
                           .allocatedByList = 1};
    linkProperty(list, property);
    if (record != nullptr)
        result = copyRecord(record, &property->piProperty);
    if (out != nullptr && result == kMVNoError)
        *out = property;
    return result;
}

MVResult MVFindProperty(MVPropertyList* list, uint32_t vendorID, uint32_t propertyKey,
                        uint32_t propertyID, MVProperty** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVNoError;
    *out = nullptr;
    for (; list != nullptr && *out == nullptr; list = list->nextList)
        *out = findInList(list, vendorID, propertyKey, propertyID);
    return kMVNoError;
}

MVResult MVFindPropertyLocal(MVPropertyList* list, uint32_t vendorID, uint32_t propertyKey,
                             uint32_t propertyID, MVProperty** out)
{
    MV_ONE_THREAD();
    if (out == nullptr)
        return kMVNoError;
    *out = list != nullptr ? findInList(list, vendorID, propertyKey, propertyID) : nullptr;
    return kMVNoError;
}

MVResult MVNewPropertyListIterator(MVPropertyList* list, MVPropertyListIterator** out)
{
    MV_ONE_THREAD();
    return mvNewIterator(list, "an MVPropertyListIterator", out);
}

MVResult MVNextProperty(MVPropertyListIterator* iterator, MVProperty** out)
{
    MV_ONE_THREAD();
    return mvNextOfIterator(iterator, kMVBadPropertyListIteratorError, out);
}

MVResult MVDeletePropertyListIterator(MVPropertyListIterator* iterator)
{
    MV_ONE_THREAD();
    return mvDeleteIterator(iterator);
}

MVResult MVGetPropertyPIProperty(MVProperty* property, PIProperty** out)
{
    MV_ONE_THREAD();
    return mvGetField(property, &MVProperty::piProperty, out);
}

MVResult MVGetPropertyRefCon(MVProperty* property, int32_t* out)
{
    MV_ONE_THREAD();
    return mvGetField(property, &MVProperty::refCon, out);
}

MVResult MVGetPropertyCacheable(MVProperty* property, int32_t* out)
{
    MV_ONE_THREAD();
    return mvGetField(property, &MVProperty::cacheable, out);
}

MVResult MVGetPropertyAllocatedByPlugin(MVProperty* property, int32_t* out)
{
    MV_ONE_THREAD();
    const MVResult result = mvGetField(property, &MVProperty::allocatedByList, out);
    if (result == kMVNoError)
        *out = *out == 0;
    return result;
}

MVResult MVHasMultiplePropertyLists(MVPropertyList* list, int32_t* out)
{
    MV_ONE_THREAD();
    MVPropertyList* next = nullptr;
    if (out == nullptr)
        return kMVBadParameterError;
    const MVResult result = mvGetField(list, &MVPropertyList::nextList, &next);
    *out = next != nullptr;
    return result;
}

MVResult MVGetNextPropertyList(MVPropertyList* list, MVPropertyList** out)
{
    MV_ONE_THREAD();
    return mvGetField(list, &MVPropertyList::nextList, out);
}
