/* All that a plug-in needs: C99 and C++17. Docs/Plugins.md has one working in ten minutes. */
#ifndef MOONVETCH_MOONVETCH_H
#define MOONVETCH_MOONVETCH_H

#include "Properties.h"
#include "Suites.h"
#include "Types.h"

/*
 * Makes a function the entry that is looked up by its name in the plug-in's file:
 *
 *     MV_ENTRY(PluginMain)(const char* caller, const char* selector, void* message) { ... }
 */
#ifdef __cplusplus
#define MV_ENTRY(name) extern "C" MV_API MVResult name
#else
#define MV_ENTRY(name) MV_API MVResult name
#endif

#endif
