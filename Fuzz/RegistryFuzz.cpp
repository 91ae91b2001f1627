// Registry files. Whatever the bytes are, what the reader makes of them must read the same after it
// has been written back, and so must a value that is then set.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "Foundation/ZOR/Src/Registry/RegistryFile.h"
#include "ZOR/RegistryKey.h"

namespace
{

using ZOR::RegistryFile;
using ZOR::RegistryValue;

void Require(bool inCondition)
{
    if (!inCondition)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* inBytes, std::size_t inSize)
{
    const std::string_view bytes(reinterpret_cast<const char*>(inBytes), inSize);
    RegistryFile file = RegistryFile::Parse(bytes);
    const std::string written = file.Text();
    Require(RegistryFile::Parse(written).Text() == written);

    // The name and the text are taken from the input too, where it has such.
    const std::string_view half = bytes.substr(0, inSize / 2);
    const std::string name = ZOR::IsRegistryName(half) ? std::string(half) : "name";
    const std::string section = ZOR::IsRegistrySection(half) ? std::string(half) : "";
    const std::string text = ZOR::IsRegistryName(half) ? std::string(half) : "text";
    file.Set(section, name, RegistryValue(text));
    const RegistryFile again = RegistryFile::Parse(file.Text());
    const RegistryValue* const value = again.Find(section, name);
    if (file.Text().size() <= ZOR::kMaxRegistryBytes)
        Require(value && *value == RegistryValue(text));
    file.Remove(section, name);
    Require(!RegistryFile::Parse(file.Text()).Find(section, name));
    return 0;
}
