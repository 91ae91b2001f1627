#pragma once

#include "qelcore/DebugDatabase.h"

namespace qelcore
{
namespace debug
{

/// A setting of the debug database, cached: reading it costs a comparison of counters unless something
/// has changed. T is bool, int or float. Any thread may read.
template <class T>
class CachedDatabaseValue
{
public:
    CachedDatabaseValue(const char* inKey, T inDefault);
    T Get() const;
    operator T() const { return Get(); }
};

} // namespace debug
} // namespace qelcore
