/* A plug-in to begin with: copy this folder, and give it another name. */
#include <RiverKit/MoonVetch/MoonVetch.h>

#include <string.h>

/* What the host reads without running anything. */
MV_PLUGIN_PROPERTIES(MV_PLUGIN_NAME("Template"), MV_PLUGIN_ENTRY("PluginMain"));

/* What the plug-in keeps from message to message. */
typedef struct Globals
{
    int32_t messages;
} Globals;

static MVResult Startup(MVMessageData* message)
{
    void* block = NULL;
    const MVResult result = message->basic->AllocateBlock(sizeof(Globals), &block);
    if (result != kMVNoError)
        return result; /* the host goes on without this plug-in */
    memset(block, 0, sizeof(Globals));
    message->globals = block; /* comes again with every later message */
    return kMVNoError;
}

static MVResult Shutdown(MVMessageData* message)
{
    MVResult result = kMVNoError;
    if (message->globals != NULL)
        result = message->basic->FreeBlock(message->globals);
    message->globals = NULL;
    return result;
}

/* Whoever sends a message gives it a caller and a selector, which settle the record behind message; every record
   begins with MVMessageData. What is not known is answered with kMVNoError. */
MV_ENTRY(PluginMain)(const char* caller, const char* selector, void* message)
{
    if (strcmp(caller, kMVInterfaceCaller) == 0)
    {
        if (strcmp(selector, kMVInterfaceStartupSelector) == 0)
            return Startup((MVMessageData*)message);
        if (strcmp(selector, kMVInterfaceShutdownSelector) == 0)
            return Shutdown((MVMessageData*)message);
    }
    return kMVNoError;
}
