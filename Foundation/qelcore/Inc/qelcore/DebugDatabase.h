#pragma once

#include <cstdint>
#include <string>

#include "qelcore/Export.h"

namespace qelcore
{
namespace debug
{

// Settings by key, as text. Threads: any function from any thread.
class RK_API DebugDatabase
{
public:
    static DebugDatabase& Instance();

    std::string GetEntry(const std::string& inKey, const std::string& inDefault) const;
    /// T is bool, int or float. A bool is true exactly if the entry equals "true".
    template <class T>
    T GetEntryAs(const std::string& inKey, T inDefault) const;

    void SetEntry(const std::string& inKey, const std::string& inValue);
    void RemoveEntry(const std::string& inKey);

    /// Incremented at every change; starts at 0 and never is -1.
    std::int32_t ChangeCount() const noexcept;
};

} // namespace debug
} // namespace qelcore
