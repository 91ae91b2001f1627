#pragma once

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "qelcore/Mutex.h"

namespace qelcore
{
namespace threads
{

class ViewState;

// The views on one executor, and how far each had come at one moment: what a flush of the executor
// waits for besides the executor's own jobs.
class ViewList
{
public:
    using Progress = std::vector<std::pair<std::shared_ptr<ViewState>, std::uint64_t>>;

    void Add(const std::weak_ptr<ViewState>& inView) RK_EXCLUDES(mMutex);
    Progress Snapshot() RK_EXCLUDES(mMutex);
    static void WaitFor(const Progress& inProgress);

private:
    Mutex mMutex; // a leaf
    std::vector<std::weak_ptr<ViewState>> mViews RK_GUARDED_BY(mMutex);
};

} // namespace threads
} // namespace qelcore
