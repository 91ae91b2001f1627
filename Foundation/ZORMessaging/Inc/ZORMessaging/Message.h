#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <typeinfo>

#include <boost/function.hpp>
#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>

#include "qelcore/Export.h"
#include "qelcore/ImmutableString.h"
#include "qelcore/SmallBlockAllocator.h"

namespace ZOR
{

/// The name of a station; the null value names none.
using StationID = qelcore::utility::ImmutableString;

/// Identifies a class of messages.
using MessageID = std::uint64_t;

/// @param inTypeName  what typeid(T).name() gives. The same name gives the same id in every process.
RK_API MessageID HashMessageTypeNameToMessageID(const char* inTypeName);

// Something that is told on a station. A listener looks at the id, and casts to the class that has it:
//
//     class VolumeMounted : public ZOR::MessageImpl<VolumeMounted>
//     {
//     public:
//         explicit VolumeMounted(const qelcore::UTF16String& inPath) : mPath(inPath) {}
//         const qelcore::UTF16String mPath;
//     };
//
//     if (inMessage.GetMessageID() == VolumeMounted::GetClassMessageID())
//         Open(static_cast<const VolumeMounted&>(inMessage).mPath);
//
// Threads  A message does not change: any thread may read it.
class RK_API Message
{
public:
    virtual ~Message();
    MessageID GetMessageID() const noexcept { return mMessageID; }

    /// A copy, of the same class.
    virtual boost::shared_ptr<Message> Clone() const = 0;
    /// A callable that broadcasts a copy of the message on the station, each time it is called.
    virtual boost::function<void()> CreateCallback(const StationID& inStation) const = 0;

protected:
    explicit Message(MessageID inMessageID) noexcept
        : mMessageID(inMessageID)
    {
    }
    Message(const Message&) = default;
    Message& operator=(const Message&) = delete;

private:
    const MessageID mMessageID;
};

namespace Details
{
RK_API boost::function<void()> CreateBroadcast(const StationID& inStation,
                                               const boost::shared_ptr<const Message>& inMessage);
} // namespace Details

// Objects of T that are made with new come from the pool of small blocks.
template <class T>
class DynamicallyAllocatedMessage
{
public:
    static void* operator new(std::size_t inSize)
    {
        return qelcore::utility::SmallBlockAllocator::Allocate(inSize);
    }
    static void* operator new(std::size_t, void* inPlace) noexcept { return inPlace; }
    static void operator delete(void* inBlock, std::size_t inSize) noexcept
    {
        qelcore::utility::SmallBlockAllocator::Dispose(inBlock, inSize);
    }
    static void operator delete(void*, void*) noexcept {}
};

// Counts the objects of T that live, for tests and for whoever looks for a leak.
template <class T>
class ClassWatcherTrackable
{
public:
    static std::int32_t GetLiveCount() noexcept { return sLiveCount; }

protected:
    ClassWatcherTrackable() noexcept { ++sLiveCount; }
    ClassWatcherTrackable(const ClassWatcherTrackable&) noexcept { ++sLiveCount; }
    ClassWatcherTrackable& operator=(const ClassWatcherTrackable&) = default;
    ~ClassWatcherTrackable() { --sLiveCount; }

private:
    inline static std::atomic<std::int32_t> sLiveCount{0};
};

// Base of the message class T, which can be copied. Its id comes from the name of its type.
template <class T>
class MessageImpl : public Message,
                    public DynamicallyAllocatedMessage<T>,
                    public ClassWatcherTrackable<T>
{
public:
    static MessageID GetClassMessageID()
    {
        static const MessageID sID = HashMessageTypeNameToMessageID(typeid(T).name());
        return sID;
    }

    boost::shared_ptr<Message> Clone() const override
    {
        return boost::shared_ptr<Message>(new T(static_cast<const T&>(*this)));
    }
    boost::function<void()> CreateCallback(const StationID& inStation) const override
    {
        return Details::CreateBroadcast(inStation, Clone());
    }

protected:
    MessageImpl()
        : Message(GetClassMessageID())
    {
    }
    MessageImpl(const MessageImpl&) = default;
    MessageImpl& operator=(const MessageImpl&) = delete;
    ~MessageImpl() override = default;
};

} // namespace ZOR
