#include "LinuxMemoryPressure.h"

#include <cerrno>
#include <mutex>
#include <utility>

#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

#include "CgroupFolders.h"
#include "OwnedDescriptor.h"

namespace Platform
{
namespace
{

// "some": any task stood still; microseconds of standing still, and of the window. Windows that are no
// multiple of 2 s need a right. The kernel takes the last byte that is written for the end of the text,
// so the NUL is written too.
constexpr char kTrigger[] = "some 150000 2000000";
static_assert(IMemoryPressure::kWindowSeconds == 2);

struct Trigger
{
    OwnedDescriptor file; // the kernel watches while it is open
    OwnedDescriptor epoll;
    pid_t process; // a child after fork must not take its parent's events

    bool Take() const
    {
        epoll_event event{};
        return epoll_wait(epoll.Get(), &event, 1, 0) == 1;
    }
};

int Open(const std::string& inPath, std::unique_ptr<Trigger>& outTrigger)
{
    OwnedDescriptor file(open(inPath.c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK));
    if (!file.IsOpen() || write(file.Get(), kTrigger, sizeof kTrigger) < 0)
        return errno;
    OwnedDescriptor epoll(epoll_create1(EPOLL_CLOEXEC));
    epoll_event event{};
    event.events = EPOLLIN | EPOLLET;
    if (!epoll.IsOpen() || epoll_ctl(epoll.Get(), EPOLL_CTL_ADD, file.Get(), &event) != 0)
        return errno;
    outTrigger.reset(new Trigger{std::move(file), std::move(epoll), getpid()});
    return 0;
}

} // namespace

struct LinuxMemoryPressure::Idle
{
    std::mutex mutex;                 // a leaf
    std::unique_ptr<Trigger> trigger; // guarded by mutex

    /// Puts a trigger there, and gives what was there.
    std::unique_ptr<Trigger> Exchange(std::unique_ptr<Trigger> inTrigger)
    {
        const std::lock_guard<std::mutex> lock(mutex);
        trigger.swap(inTrigger);
        return inTrigger;
    }
};

class LinuxMemoryPressure::Listener : public IMemoryPressureListener
{
public:
    Listener(std::unique_ptr<Trigger> inTrigger, const std::shared_ptr<Idle>& inIdle)
        : mTrigger(std::move(inTrigger))
        , mIdle(inIdle)
    {
        mTrigger->Take(); // the edge of being added, or what came while nobody listened
    }
    ~Listener() override { mIdle->Exchange(std::move(mTrigger)); }
    int Descriptor() const override { return mTrigger->epoll.Get(); }
    bool Take() override { return mTrigger->Take(); }

private:
    std::unique_ptr<Trigger> mTrigger;
    const std::shared_ptr<Idle> mIdle;
};

LinuxMemoryPressure::LinuxMemoryPressure(const std::string& inRoot)
    : mRoot(inRoot)
    , mIdle(std::make_shared<Idle>())
{
}

LinuxMemoryPressure::~LinuxMemoryPressure() = default;

int LinuxMemoryPressure::Listen(std::unique_ptr<IMemoryPressureListener>& outListener)
{
    outListener.reset();
    std::unique_ptr<Trigger> trigger = mIdle->Exchange(nullptr);
    if (!trigger || trigger->process != getpid())
    {
        const std::string group = OwnVersion2Folder(mRoot);
        const bool ofGroup = !group.empty() && Open(group + "/memory.pressure", trigger) == 0;
        const int error = ofGroup ? 0 : Open(mRoot + "/proc/pressure/memory", trigger);
        if (error != 0)
            return error;
    }
    outListener = std::make_unique<Listener>(std::move(trigger), mIdle);
    return 0;
}

} // namespace Platform
