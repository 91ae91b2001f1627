// Bytes as text: what decodes encodes to the very text it came from, and any bytes come back.

#include <cstdint>
#include <cstdlib>
#include <vector>

#include "qelcore/BinaryText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize)
{
    const qelcore::UTF8String text(inData, inSize);
    std::vector<std::uint8_t> bytes;
    qelcore::UTF8String again;
    if (qelcore::utility::DecodeBinaryDataFromUTF8String(text, bytes) &&
        (!qelcore::utility::EncodeBinaryDataToUTF8String(bytes.data(), bytes.size(), again) ||
         again != text))
        std::abort();
    if (!qelcore::utility::EncodeBinaryDataToUTF8String(inData, inSize, again) ||
        !qelcore::utility::DecodeBinaryDataFromUTF8String(again, bytes) ||
        bytes != std::vector<std::uint8_t>(inData, inData + inSize))
        std::abort();
    return 0;
}
