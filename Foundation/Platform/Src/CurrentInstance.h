#pragma once

#include <atomic>

namespace Platform
{

/// The instance of an edge that is in force: what a scope has put there, or else the real one. It is
/// initialised before anything runs, so that any unit's set-up can use the edge.
template <class Interface>
class CurrentInstance
{
public:
    constexpr CurrentInstance() = default;

    template <class MakeReal>
    Interface& Get(const MakeReal& inReal)
    {
        Interface* const replacement = mReplacement.load();
        return replacement != nullptr ? *replacement : inReal();
    }
    /// @return what stood there before; null for the real one.
    Interface* Exchange(Interface* inReplacement) { return mReplacement.exchange(inReplacement); }

private:
    std::atomic<Interface*> mReplacement{nullptr};
};

} // namespace Platform
