// What a plug-in is at the least. Copies of its file are plug-ins of their own.
#include <RiverKit/MoonVetch/MoonVetch.h>

MV_PLUGIN_PROPERTIES(MV_PLUGIN_NAME("Bench"), MV_PLUGIN_ENTRY("PluginMain"));

MV_ENTRY(PluginMain)(const char*, const char*, void*)
{
    return kMVNoError;
}
