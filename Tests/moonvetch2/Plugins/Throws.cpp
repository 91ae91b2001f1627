// Throws when it is asked anything, which an entry must not.
#include <stdexcept>

#include "Answer.h"

MV_PLUGIN_PROPERTIES(MV_PLUGIN_NAME("Throws"), MV_PLUGIN_ENTRY(""));

MV_ENTRY(PluginMain)(const char* caller, const char*, void*)
{
    if (Answer(caller, 1) != kMVNoError)
        throw std::runtime_error("out of the entry");
    return kMVNoError;
}
