#pragma once

// Views that are shared C++ objects, under RK::PlatformWindowManager: a view's handle is the address of the
// object, and each retain is one shared pointer that is kept until the release.

#include <cassert>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

#include <RiverKit/RKPlatformWindowManager.h>

namespace Example
{

class View : public std::enable_shared_from_this<View>
{
public:
    virtual ~View() = default;
};

/// Any thread.
class SharedViews
{
public:
    static RK::PlatformView HandleOf(const std::shared_ptr<View>& inView) { return inView.get(); }

    /// What the host sets at its start, before the first view. This must outlive every registered view.
    RK::PlatformWindowManager::ViewFunctions Functions()
    {
        return {[this](RK::PlatformView inView) { Retain(inView); },
                [this](RK::PlatformView inView) { Release(inView); }};
    }

private:
    void Retain(RK::PlatformView inView)
    {
        std::shared_ptr<View> view = static_cast<View*>(inView)->shared_from_this();
        const std::lock_guard<std::mutex> lock(mMutex);
        mKept.emplace(inView, std::move(view));
    }
    void Release(RK::PlatformView inView)
    {
        std::shared_ptr<View> last; // the lock goes first, and then perhaps the view
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto kept = mKept.find(inView);
        assert(kept != mKept.end());
        last = std::move(kept->second);
        mKept.erase(kept);
    }

    std::mutex mMutex; // guards all below
    std::multimap<RK::PlatformView, std::shared_ptr<View>> mKept;
};

} // namespace Example
