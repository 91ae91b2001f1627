/*
 * A plug-in that is an adapter: it makes plug-ins of something else, here of text files. Each file "*.answers" in the
 * application's plug-ins folder becomes a plug-in of that name, which answers the message of ExampleMessage.h with
 * the file's first line.
 */
#define _POSIX_C_SOURCE 200809L
#include "../ExampleMessage.h"

#include <dirent.h>
#include <stdio.h>
#include <string.h>

#define kAdapterName "Example Answers Adapter"
#define kEnding ".answers"

/* A version 2 adapter is started ahead of all others, and then told to register its plug-ins. */
MV_PLUGIN_PROPERTIES(MV_PLUGIN_NAME("Foreign Adapter"), MV_PLUGIN_ENTRY("PluginMain"),
                     MV_PLUGIN_ADAPTER(2));

/* One foreign plug-in: its adapter info. */
typedef struct Script
{
    struct Script* next;
    MVPlugin* plugin;
    char text[64];
} Script;

/* What the host knows of it: its name, as MV_PLUGIN_NAME would have put it. */
typedef struct ScriptProperties
{
    PIPropertyList list;
    PIProperty property;
    char name[64];
} ScriptProperties;

static MVResult Startup(MVMessageData* message)
{
    const void* table = NULL;
    MVAdapter* adapter = NULL;
    MVResult result =
        message->basic->AcquireSuite(kMVAdaptersSuite, kMVAdaptersSuiteVersion, &table);
    if (result != kMVNoError)
        return result;
    result =
        ((const MVAdaptersSuite*)table)->AddAdapter(NULL, message->self, kAdapterName, 1, &adapter);
    message->basic->ReleaseSuite(kMVAdaptersSuite, kMVAdaptersSuiteVersion);
    return result;
}

static MVResult ReadFirstLine(const char* path, char* text, size_t size)
{
    FILE* file = fopen(path, "r");
    if (file == NULL)
        return kMVCantAcquirePluginError;
    if (fgets(text, (int)size, file) == NULL)
        text[0] = '\0';
    fclose(file);
    text[strcspn(text, "\r\n")] = '\0';
    return kMVNoError;
}

static ScriptProperties PropertiesOf(const char* name)
{
    ScriptProperties properties;
    memset(&properties, 0, sizeof properties);
    properties.list.version = 1;
    properties.list.count = 1;
    properties.property.vendorID = kMVVendorID;
    properties.property.propertyKey = kMVProperty_Name;
    properties.property.propertyLength = sizeof properties.name;
    strncpy(properties.name, name, sizeof properties.name - 1);
    return properties;
}

/* Lists one file. What cannot be read is left out, and the others are not. */
static void AddScript(MVMessageData* message, const MVPluginsSuite* plugins, const char* folder,
                      const char* name)
{
    char path[1024];
    void* block = NULL;
    Script* script = NULL;
    const ScriptProperties properties = PropertiesOf(name);
    if ((size_t)snprintf(path, sizeof path, "%s/%s", folder, name) >= sizeof path ||
        message->basic->AllocateBlock(sizeof(Script), &block) != kMVNoError)
        return;
    script = (Script*)block;
    memset(script, 0, sizeof *script);
    if (ReadFirstLine(path, script->text, sizeof script->text) != kMVNoError ||
        plugins->AddPlugin(NULL, path, &properties.list, kAdapterName, script, &script->plugin) !=
            kMVNoError)
    {
        message->basic->FreeBlock(script);
        return;
    }
    script->next = (Script*)message->globals;
    message->globals = script;
}

static void AddScriptsOf(MVMessageData* message, const MVPluginsSuite* plugins, const char* folder)
{
    const struct dirent* entry = NULL;
    DIR* listing = opendir(folder);
    if (listing == NULL)
        return;
    while ((entry = readdir(listing)) != NULL)
    {
        const size_t length = strlen(entry->d_name);
        if (length > sizeof kEnding - 1 &&
            strcmp(entry->d_name + length - (sizeof kEnding - 1), kEnding) == 0)
            AddScript(message, plugins, folder, entry->d_name);
    }
    closedir(listing);
}

static MVResult RegisterPlugins(MVMessageData* message)
{
    MVFileSpecification folder;
    const void* runtime = NULL;
    const void* plugins = NULL;
    MVResult result =
        message->basic->AcquireSuite(kMVRuntimeSuite, kMVRuntimeSuiteVersion, &runtime);
    if (result != kMVNoError)
        return result;
    result = ((const MVRuntimeSuite*)runtime)->GetRuntimePluginsFolder(&folder);
    message->basic->ReleaseSuite(kMVRuntimeSuite, kMVRuntimeSuiteVersion);
    if (result != kMVNoError || folder.path[0] == '\0')
        return result;
    result = message->basic->AcquireSuite(kMVPluginsSuite, kMVPluginsSuiteVersion, &plugins);
    if (result != kMVNoError)
        return result;
    AddScriptsOf(message, (const MVPluginsSuite*)plugins, folder.path);
    message->basic->ReleaseSuite(kMVPluginsSuite, kMVPluginsSuiteVersion);
    return kMVNoError;
}

/* A message to one of the foreign plug-ins. What this answers is that plug-in's answer. */
static MVResult SendToScript(const MVAdaptersMessage* message)
{
    const Script* script = (const Script*)message->data.globals;
    while (script != NULL && script->plugin != message->plugin)
        script = script->next;
    if (script != NULL && strcmp(message->caller, kExampleCaller) == 0 &&
        strcmp(message->selector, kExampleTextSelector) == 0)
        memcpy(((ExampleTextMessage*)message->message)->text, script->text, sizeof script->text);
    return kMVNoError;
}

/* The last message in which the foreign plug-ins are of use. A "Shutdown" to one of them may still come. */
static MVResult DisposeInfo(MVMessageData* message)
{
    while (message->globals != NULL)
    {
        Script* script = (Script*)message->globals;
        message->globals = script->next;
        message->basic->FreeBlock(script);
    }
    return kMVNoError;
}

/* "Start up", "Shut down", "Load plugin", "Release plugin", "Flush", "Find property" and "About" need nothing here. */
static MVResult Adapt(const char* selector, void* message)
{
    if (strcmp(selector, kMVAdaptersRegisterPluginsSelector) == 0)
        return RegisterPlugins((MVMessageData*)message);
    if (strcmp(selector, kMVAdaptersSendMessageSelector) == 0)
        return SendToScript((const MVAdaptersMessage*)message);
    if (strcmp(selector, kMVAdaptersDisposeInfoSelector) == 0)
        return DisposeInfo((MVMessageData*)message);
    return kMVNoError;
}

MV_ENTRY(PluginMain)(const char* caller, const char* selector, void* message)
{
    if (strcmp(caller, kMVAdaptersCaller) == 0)
        return Adapt(selector, message);
    if (strcmp(caller, kMVInterfaceCaller) == 0 &&
        strcmp(selector, kMVInterfaceStartupSelector) == 0)
        return Startup((MVMessageData*)message);
    return kMVNoError;
}
