// Adapters: what loads and calls one kind of plug-in. One is built in, for native plug-ins.
#pragma once

#include <cstdint>

#include "MVWalk.h"
#include "MoonVetch/Host.h"

constexpr std::uint8_t kMVAdapterFlag_V1 = 1; ///< without the message protocol

struct MVAdapter
{
    MVAdapter* next;
    MVWString name;
    std::int32_t version;
    std::uint8_t flags;
    MVPlugin* hostPlugin;
    std::uint32_t started; ///< "Start up" was sent
    MVWalkMarks walks;     ///< see MVWalk.h
};

struct MVAdapterList
{
    MVAdapter* head;
    std::uint32_t count;
    std::uint32_t stamp;
    MVStringPool* strings;
};

struct MVAdapterListIterator
{
    MVAdapterList* list;
    MVAdapter* current;
    std::uint32_t stamp;
};

/// The entry of the built-in adapter's plug-in. What others say is answered by 0.
MVResult mvAdapter(const char* inCaller, const char* inSelector, void* ioMessage);
/// Sends the host of an adapter a message by "MV Adapters".
MVResult mvSendToAdapterHost(MVAdapter* inAdapter, MVWString inSelector,
                             MVAdaptersMessage& ioMessage, MVResult* outAnswer);
/// Of a plug-in whose record goes: its adapters have no host any more.
void mvForgetAdapterHost(const MVPlugin* inPlugin);
/// Whether the plug-in declares a version 2 adapter, which is started ahead of all.
bool mvIsV2AdapterPlugin(const MVPlugin* inPlugin);

MVResult mvStartupV1Adapters();
MVResult mvShutdownAdapters();
MVResult mvTermAdapters();
MVResult mvShutdownTermMVAdapter();
