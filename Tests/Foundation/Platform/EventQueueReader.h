#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Platform/EventQueue.h"
#include "Support/TemporaryFolder.h"

namespace Testing
{

// Waits on a real event queue for what has happened so far, and no longer. Two things of its own tell that
// nothing else will come: a folder, whose events stand behind those before it, and a pipe that is always ready, which
// fires a second time only after all others had their turn.
class EventQueueReader
{
public:
    using Record = Platform::QueueRecord;
    using Notes = std::vector<std::uint32_t>;

    EventQueueReader()
    {
        mEvents.CreatePipe(mPipe);
        const char byte = 0;
        mEvents.Write(mPipe[1], &byte, 1);
        mMarker = mEvents.Open(mFolder.MakeFolder("marker"));
    }
    ~EventQueueReader()
    {
        mEvents.Close(mMarker);
        mEvents.Close(mPipe[0]);
        mEvents.Close(mPipe[1]);
        mEvents.CloseQueue(mQueue);
    }
    EventQueueReader(const EventQueueReader&) = delete;
    EventQueueReader& operator=(const EventQueueReader&) = delete;

    static Record Armed(int inIdent, std::uint32_t inNotes = kAllNotes)
    {
        Record record;
        record.mIdent = static_cast<std::uint64_t>(inIdent);
        record.mFilter = Platform::kQueueFilter_Folder;
        record.mFlags =
            Platform::kQueueFlag_Add | Platform::kQueueFlag_Enable | Platform::kQueueFlag_OneShot;
        record.mNotes = inNotes;
        return record;
    }

    /// What fires of these, each time armed again, until all that has happened so far was told.
    /// @return the notes by ident, in their order.
    std::map<int, Notes> Take(const std::vector<int>& inIdents)
    {
        std::vector<Record> list;
        for (const int ident : inIdents)
            list.push_back(Armed(ident));
        std::map<int, Notes> taken;
        mFolder.Write("marker/" + std::to_string(++mMarks), "x");
        for (bool isMarked = false; !isMarked;)
        {
            std::vector<Record> marked = list;
            marked.push_back(Armed(mMarker));
            isMarked = TakeOne(marked, taken) == mMarker;
        }
        list.push_back(Armed(mMarker));
        Record pipe = Armed(mPipe[0]);
        pipe.mFilter = Platform::kQueueFilter_Read;
        list.push_back(pipe);
        for (int ends = 0; ends < 2;)
            ends += TakeOne(list, taken) == mPipe[0];
        return taken;
    }
    Notes Take(int inIdent) { return Take(std::vector<int>{inIdent})[inIdent]; }
    /// The same, all notes in one.
    std::uint32_t Sum(int inIdent)
    {
        std::uint32_t sum = 0;
        for (const std::uint32_t notes : Take(inIdent))
            sum |= notes;
        return sum;
    }

    int Queue() const { return mQueue; }

    static constexpr std::uint32_t kAllNotes =
        Platform::kQueueNote_Delete | Platform::kQueueNote_Write | Platform::kQueueNote_Rename;

private:
    int TakeOne(const std::vector<Record>& inList, std::map<int, Notes>& ioTaken)
    {
        Record event;
        if (mEvents.Wait(mQueue, inList, event) != 1)
            return mPipe[0];
        const int ident = static_cast<int>(event.mIdent);
        if (ident != mMarker && ident != mPipe[0])
            ioTaken[ident].push_back(event.mNotes);
        return ident;
    }

    Platform::IEventQueue& mEvents = Platform::EventQueue();
    const TemporaryFolder mFolder;
    const int mQueue = mEvents.CreateQueue();
    int mPipe[2] = {-1, -1};
    int mMarker = -1;
    int mMarks = 0;
};

} // namespace Testing
