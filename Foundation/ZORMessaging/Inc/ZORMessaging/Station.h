#pragma once

#include <boost/function.hpp>
#include <boost/shared_ptr.hpp>

#include "ZORMessaging/Listener.h"
#include "ZORMessaging/Message.h"
#include "qelcore/Export.h"

// Stations: named mailboxes. Somebody registers a station, listeners are added to it by its name, and a
// message that is told on it reaches each of them.
//
// Threads  Every function from any thread, except where told. No lock is held while listeners run, so
//          a listener may call anything here.
// Order    A listener that is added or removed while a message is under way may hear it or not.
//          Removing a plain Listener waits until no other thread is within its ListenToMessage(): when
//          that has returned the listener may be destroyed. So do not remove one with a lock held that
//          its ListenToMessage() takes. From within its own call it returns at once. To dispose of a
//          station removes its listeners, and waits for the plain ones in the same way.
// Errors   An unknown station is no error: nothing is added, nothing is told.
namespace ZOR
{

class Station;
using StationPtr = boost::shared_ptr<Station>;
/// Makes a station when it is first used. An empty one makes an ordinary station.
using StationFactory = boost::function<StationPtr(const StationID&)>;

// One mailbox. A class of its own can derive from it, to see when somebody begins to listen.
class RK_API Station
{
public:
    Station();
    virtual ~Station();
    Station(const Station&) = delete;
    Station& operator=(const Station&) = delete;

    /// A listener that is added n times hears each message once, and is removed n times.
    /// @return false if it is null, or a counted one of which no weak reference can be had.
    virtual bool AddListener(const ISafeListenerRef& inListener);
    virtual bool AddListener(Listener* inListener);
    /// @return false if it does not listen.
    virtual bool RemoveListener(const ISafeListenerRef& inListener);
    virtual bool RemoveListener(Listener* inListener);
    /// Removes every listener, however often it was added.
    virtual void RemoveAllListeners();
    /// Calls the listeners in the order in which they were added, on the calling thread.
    virtual void Broadcast(const Message& inMessage);

private:
    struct Impl;
    const boost::shared_ptr<Impl> mImpl;
};

namespace StationRegistry
{

/// A name that no other station of the process has, or had.
RK_API StationID UniqueStationID();
/// @return false if the name is taken or null, and then nothing has changed.
RK_API bool RegisterStation(const StationID& inID,
                            const StationFactory& inFactory = StationFactory());
/// Forgets a station and its listeners.
/// @return false if there is none of that name.
RK_API bool DisposeStation(const StationID& inID);

} // namespace StationRegistry

namespace StationUtils
{

/// @return false if there is no such station, or the station says so (Station::AddListener).
RK_API bool AddListener(const StationID& inID, const ISafeListenerRef& inListener);
RK_API bool AddListener(const StationID& inID, Listener* inListener);
RK_API bool RemoveListener(const StationID& inID, const ISafeListenerRef& inListener);
RK_API bool RemoveListener(const StationID& inID, Listener* inListener);

/// Tells the message now, on the calling thread: when this returns every listener has been called.
RK_API void BroadcastMessage(const StationID& inID, const Message& inMessage);

/// Has a copy of the message told on the main thread, in the order of posting.
/// @param inOnlyOnce  drops it if one of the same class waits for the same station already.
/// @return whether it waits now, or another did.
RK_API bool PostMessageToUIThread(const StationID& inID, const Message& inMessage, bool inOnlyOnce);
/// Tells what was posted up to this call. On the main thread only: elsewhere nothing happens.
RK_API void FlushPostedMessagesOnUIThread();

// A station of a unique name for its life.
class RK_API ManagedStation
{
public:
    explicit ManagedStation(const StationFactory& inFactory = StationFactory());
    ManagedStation(const ManagedStation&) = delete;
    ManagedStation& operator=(const ManagedStation&) = delete;
    virtual ~ManagedStation();
    const StationID& GetStationID() const noexcept { return mStationID; }

private:
    const StationID mStationID;
};

} // namespace StationUtils

/// The station of directory changes, registered while messaging is up.
extern RK_API const StationID kStation_DirectoryChange;

// Start and stop of messaging. Stations can be registered and used at any time; what depends on the
// start is told here. Calls are counted.
namespace Messaging
{

/// Registers the well-known stations.
RK_API void Initialize();
/// The last one disposes of them, and drops what was posted and not told yet. Contract: it answers an
/// Initialize().
RK_API void Terminate();

} // namespace Messaging

} // namespace ZOR
