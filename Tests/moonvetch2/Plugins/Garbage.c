/* Answers everything with the same number, what the host says too. */
#include <RiverKit/MoonVetch/MoonVetch.h>

MV_PLUGIN_PROPERTIES(MV_PLUGIN_NAME("Garbage"), MV_PLUGIN_ENTRY(""),
                     MV_PLUGIN_CAPABILITIES(kMVCapability_AnswersProperties | kMVCapability_Purges),
                     MV_PLUGIN_EXPORTS(MV_EXPORT("Garbage Suite", 1)));

MV_ENTRY(PluginMain)(const char* caller, const char* selector, void* message)
{
    (void)caller, (void)selector, (void)message;
    return 83;
}
