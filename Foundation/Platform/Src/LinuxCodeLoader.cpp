#include "LinuxCodeLoader.h"

#include <dlfcn.h>
#include <elf.h>
#include <link.h>

#include "Platform/CodeFile.h"

namespace Platform
{
namespace
{

// Any other call of the loader's clears it.
std::string LoaderText()
{
    const char* const text = dlerror();
    return text != nullptr ? text : std::string();
}

// A look-up goes on in what the file depends on, where a name such as "main" may well be found.
bool LiesIn(void* inCode, const void* inEntry)
{
    const link_map* own = nullptr;
    void* found = nullptr;
    Dl_info info;
    return dlinfo(inCode, RTLD_DI_LINKMAP, &own) == 0 &&
           dladdr1(inEntry, &info, &found, RTLD_DL_LINKMAP) != 0 && found == own;
}

// A variable of that name would be called all the same.
bool IsVariable(const void* inEntry)
{
    void* symbol = nullptr;
    Dl_info info;
    if (dladdr1(inEntry, &info, &symbol, RTLD_DL_SYMENT) == 0 || symbol == nullptr)
        return false;
    const int type = ELF64_ST_TYPE(static_cast<const ElfW(Sym)*>(symbol)->st_info);
    return type == STT_OBJECT || type == STT_COMMON;
}

std::string PathOf(void* inCode)
{
    const link_map* own = nullptr;
    return dlinfo(inCode, RTLD_DI_LINKMAP, &own) == 0 ? own->l_name : "";
}

} // namespace

void* LinuxCodeLoader::Load(const std::string& inPath, std::string& outError)
{
    outError.clear();
    std::string file;
    if (FindCodeFile(inPath, file, outError) != CodeFault::kNone ||
        CheckCodeFile(file, outError) != CodeFault::kNone)
        return nullptr;
    // Every reference is resolved now: one that is missing would end the process at its first call. Local, so that
    // plug-ins do not see each other's names.
    void* const code = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (code == nullptr)
        outError = LoaderText();
    return code;
}

void* LinuxCodeLoader::FindEntry(void* inCode, const std::string& inName, std::string& outError)
{
    dlerror(); // what an earlier call has left
    void* const entry = dlsym(inCode, inName.c_str());
    outError = LoaderText();
    if (entry == nullptr && outError.empty())
        outError = PathOf(inCode) + ": " + inName + " is null";
    else if (entry != nullptr && !LiesIn(inCode, entry))
        outError = PathOf(inCode) + ": " + inName + " is another file's";
    else if (entry != nullptr && IsVariable(entry))
        outError = PathOf(inCode) + ": " + inName + " is no function";
    return outError.empty() ? entry : nullptr;
}

} // namespace Platform
