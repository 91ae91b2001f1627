// The registry of suites: who supplies which table, how often it is held, and what was asked for in vain.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "MoonVetch/Host.h"

struct MVSuite
{
    MVPlugin* plugin; ///< null for a built-in suite
    MVWString name;
    std::int32_t apiVersion;
    std::int32_t internalVersion;
    const void* suiteProcs; ///< null until the plug-in has supplied it
    std::int32_t acquireCount;
    MVAccess* access; ///< from the first acquire to the last release
};

/// Keys order by the pointer of the name, then by the numbers.
struct MVSAS
{
    MVWString name;
    std::int32_t apiVersion;
    std::int32_t internalVersion;
};
struct MVSUAS
{
    MVWString name;
    std::int32_t apiVersion;
};
bool operator<(const MVSAS& inLeft, const MVSAS& inRight) noexcept;
bool operator<(const MVSUAS& inLeft, const MVSUAS& inRight) noexcept;

/// A name and version that was looked for in vain.
struct MVSuiteSearch
{
    MVSuiteSearch* next;
    MVWString name;
    std::int32_t apiVersion;
};

/// Plain heap memory, as the nodes of its maps.
struct MVSuiteList
{
    std::map<MVSAS, MVSuite*> suites;
    std::map<MVSUAS, std::int32_t> highest; ///< internal version
    std::vector<MVSuite*> seconds;          ///< records of a key that was there already
    MVSuiteSearch* searchedFor;
    std::uint32_t count;
    std::uint32_t stamp; ///< changes at each addition
    MVStringPool* strings;
    MVPluginList* plugins;
};

struct MVSuiteListIterator
{
    std::map<MVSAS, MVSuite*>::const_iterator current;
    MVSuiteList* list;
    std::uint32_t stamp;
};
