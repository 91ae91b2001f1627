/* A plug-in that offers a suite to others. */
#include "TimecodeSuite.h"

#include <RiverKit/MoonVetch/MoonVetch.h>

#include <stdio.h>
#include <string.h>

/* Whoever asks for the suite before this plug-in has been started has it started by that. */
MV_PLUGIN_PROPERTIES(MV_PLUGIN_NAME("Suite Provider"), MV_PLUGIN_ENTRY("PluginMain"),
                     MV_PLUGIN_EXPORTS(MV_EXPORT(kTimecodeSuite, kTimecodeSuiteVersion)));

static void FormatFrames(int64_t frames, int32_t framesPerSecond, char* buffer, size_t size)
{
    const int64_t seconds = frames / framesPerSecond;
    snprintf(buffer, size, "%02d:%02d:%02d:%02d", (int)(seconds / 3600 % 100),
             (int)(seconds / 60 % 60), (int)(seconds % 60), (int)(frames % framesPerSecond));
}

/* The table must live as long as the plug-in. */
static const TimecodeSuite sTimecode = {FormatFrames};

static MVResult Startup(MVMessageData* message)
{
    const void* table = NULL;
    MVSuite* suite = NULL;
    MVResult result = message->basic->AcquireSuite(kMVSuitesSuite, kMVSuitesSuiteVersion, &table);
    if (result != kMVNoError)
        return result;
    result = ((const MVSuitesSuite*)table)
                 ->AddSuite(NULL, message->self, kTimecodeSuite, kTimecodeSuiteVersion, 1,
                            &sTimecode, &suite);
    message->basic->ReleaseSuite(kMVSuitesSuite, kMVSuitesSuiteVersion);
    return result;
}

MV_ENTRY(PluginMain)(const char* caller, const char* selector, void* message)
{
    if (strcmp(caller, kMVInterfaceCaller) == 0 &&
        strcmp(selector, kMVInterfaceStartupSelector) == 0)
        return Startup((MVMessageData*)message);
    return kMVNoError;
}
