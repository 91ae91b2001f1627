#include "RKBinaryData.h"

#include <cstdint>
#include <vector>

#include <boost/make_shared.hpp>

#include "qelcore/BinaryText.h"

namespace RK
{

using qelcore::utility::RecycledMemory;

qelcore::Result EncodeBinaryDataToUTF8String(const BinaryData& inData, qelcore::UTF8String& outText)
{
    const BinaryData::Buffer& buffer = inData.GetBuffer();
    const bool empty = !buffer || !buffer->Data() || buffer->Size() == 0;
    return qelcore::utility::EncodeBinaryDataToUTF8String(empty ? nullptr : buffer->Data(),
                                                          empty ? 0 : buffer->Size(), outText)
               ? qelcore::kResult_OK
               : qelcore::kResult_GeneralFailure;
}

// The vector's storage becomes the memory of the block: the bytes are not copied.
qelcore::Result DecodeBinaryDataFromUTF8String(const qelcore::UTF8String& inText,
                                               BinaryData& outData)
{
    std::vector<std::uint8_t> decoded;
    if (!qelcore::utility::DecodeBinaryDataFromUTF8String(inText, decoded))
        return kBinaryDataResultInvalidText;
    const auto bytes = boost::make_shared<std::vector<std::uint8_t>>();
    bytes->swap(decoded);
    BinaryData data;
    if (!bytes->empty())
        data =
            BinaryData(RecycledMemory::AdaptAsRecycledMemory(bytes, bytes->data(), bytes->size()));
    data.Swap(outData);
    return qelcore::kResult_OK;
}

} // namespace RK
