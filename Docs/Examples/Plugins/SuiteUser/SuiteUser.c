/* A plug-in that needs a suite of another one, and waits for it. */
#include "../ExampleMessage.h"
#include "../SuiteProvider/TimecodeSuite.h"

#include <string.h>

MV_PLUGIN_PROPERTIES(MV_PLUGIN_NAME("Suite User"), MV_PLUGIN_ENTRY("PluginMain"));

/* The suite is what this plug-in keeps. Where its provider has not come yet this answers kMVSuiteNotFoundError, and
   the host starts the plug-in again when the suite has appeared. */
static MVResult Startup(MVMessageData* message)
{
    const void* timecode = NULL;
    const MVResult result =
        message->basic->AcquireSuite(kTimecodeSuite, kTimecodeSuiteVersion, &timecode);
    message->globals = (void*)timecode;
    return result;
}

static MVResult Shutdown(MVMessageData* message)
{
    if (message->globals == NULL)
        return kMVNoError;
    message->globals = NULL;
    return message->basic->ReleaseSuite(kTimecodeSuite, kTimecodeSuiteVersion);
}

static MVResult TellText(ExampleTextMessage* message)
{
    const TimecodeSuite* timecode = (const TimecodeSuite*)message->data.globals;
    if (timecode == NULL)
        return kMVSuiteNotFoundError;
    timecode->FormatFrames(90061 * 25 + 7, 25, message->text, sizeof message->text);
    return kMVNoError;
}

MV_ENTRY(PluginMain)(const char* caller, const char* selector, void* message)
{
    if (strcmp(caller, kExampleCaller) == 0 && strcmp(selector, kExampleTextSelector) == 0)
        return TellText((ExampleTextMessage*)message);
    if (strcmp(caller, kMVInterfaceCaller) == 0)
    {
        if (strcmp(selector, kMVInterfaceStartupSelector) == 0)
            return Startup((MVMessageData*)message);
        if (strcmp(selector, kMVInterfaceShutdownSelector) == 0)
            return Shutdown((MVMessageData*)message);
    }
    return kMVNoError;
}
