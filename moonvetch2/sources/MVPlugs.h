// The plug-ins that are listed, and the order and rules by which they are started.
#pragma once

#include <cstdint>

#include "MVWalk.h"
#include "MoonVetch/Host.h"

enum : std::uint8_t
{
    kMVPluginFlag_Started = 1,
    kMVPluginFlag_Broken = 2, ///< failed to start or load
    kMVPluginFlag_ExportsSuites = 4,
    kMVPluginFlag_InAccessMessage = 8,
    kMVPluginFlag_InMessage = 16, ///< of an interface or properties caller
    kMVPluginFlag_SkipShutdown = 32,
    kMVPluginFlag_StartupAnswered = 64, ///< with success
    kMVPluginFlag_KeepFromStart = 128   ///< cleared by each reorder pass; nothing sets it
};

struct MVPlugin
{
    MVPlugin* next;
    MVWString name;
    MVURL* fileSpec;         ///< retained
    MVPluginEntry hostEntry; ///< null for one in a file
    void* hostData;
    MVPropertyList* propertyList;
    std::uint8_t flags;
    void* globals; ///< the plug-in's own
    MVAdapter* adapter;
    void* hostInfo;
    void* adapterInfo;
    void* resourceAccess;
    MVAccess* access;      ///< the one last acquired; null if it has gone from firstAccess
    std::int32_t accesses; ///< in firstAccess
    MVWalkMarks walks;     ///< see MVWalk.h
};

struct MVPluginList
{
    MVPlugin* head;
    std::uint32_t count;
    std::uint32_t stamp; ///< changed at each link and unlink
    MVStringPool* strings;
    std::uint8_t neededSuiteAvailable; ///< a suite has come that was looked for in vain
};

struct MVPluginListIterator
{
    MVPluginList* list;
    MVPlugin* current;
    std::uint32_t stamp;
};

/// Whether its adapter is without the message protocol.
bool mvIsUnderV1Adapter(const MVPlugin* inPlugin);
/// Whether it is called directly: its adapter is the built-in one, by name.
bool mvIsNative(const MVPlugin* inPlugin);

/// At the head.
void mvLinkPlugin(MVPluginList* ioList, MVPlugin* inPlugin);
/// @param ioLink  what points to it.
void mvMovePluginToHead(MVPluginList* ioList, MVPlugin** ioLink);

/// Sends "Startup" unless it has been; what it answers decides the flags.
void startupMoonVetchPlugin(MVPlugin* inPlugin);
MVResult mvStartupPlugins();
