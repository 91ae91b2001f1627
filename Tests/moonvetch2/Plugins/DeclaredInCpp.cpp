// The same macros in C++.
#include <RiverKit/MoonVetch/MoonVetch.h>

MV_PLUGIN_PROPERTIES(MV_PLUGIN_NAME("Declared in C++"), MV_PLUGIN_ENTRY("CppMain"));

MV_ENTRY(CppMain)(const char*, const char*, void*)
{
    return 78;
}
