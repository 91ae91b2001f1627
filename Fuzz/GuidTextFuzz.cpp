// The text of a Guid: any bytes are a Guid or the zero one, and a Guid's text is the one it came from.

#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "qelcore/Guid.h"

using qelcore::utility::Guid;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inData, std::size_t inSize)
{
    // No NUL stands behind the bytes, so that reading on is seen.
    const Guid guid = Guid::StringToGUID(reinterpret_cast<const char*>(inData), inSize);
    if (guid.IsNull())
        return 0;
    std::string text(reinterpret_cast<const char*>(inData), inSize);
    for (char& c : text)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    if (guid.ToString() != text)
        std::abort();
    return 0;
}
