#pragma once

#include <cstdint>

#include "MediaManager/MediaMap.h"
#include "ZOR/CountedObject.h"
#include "ZOR/FileBuffer.h"
#include "ZOR/SingletonSupport.h"
#include "qelcore/ImmutableString.h"

namespace RK
{

// The blocks of one file in one state, within the one map that all files share. An object is no more
// than the beginning of a key: making or destroying it touches no block, and two of the same beginning
// see the same blocks. Blocks leave by the media manager's purges alone.
//
// Threads  Init comes before all others; those may be called from any thread.
// Errors   kResult_GeneralFailure for a block that is not there; std::bad_alloc.
class FileBuffer : public ZOR::CountedObject<ZOR::IFileBuffer>
{
public:
    // Of two keys that differ in the size alone neither is found for the other: a block is found by
    // exactly the range with which it was added.
    struct DataKey
    {
        qelcore::utility::ImmutableString path;
        std::uint64_t fileID = 0;
        std::int64_t fileStamp = 0;
        std::int64_t offset = 0;
        std::int64_t size = 0;
        MediaID mediaID = 0; // set by the map, no part of the identity

        /// Strict, and the same in all of a run; by the size before the offset.
        friend bool operator<(const DataKey& a, const DataKey& b) noexcept
        {
            if (a.path != b.path)
                return a.path < b.path;
            if (a.fileID != b.fileID)
                return a.fileID < b.fileID;
            if (a.fileStamp != b.fileStamp)
                return a.fileStamp < b.fileStamp;
            return a.size != b.size ? a.size < b.size : a.offset < b.offset;
        }
    };

    struct Data
    {
        qelcore::utility::RecycledMemoryPtr memory;
        PurgeLockCount purgeLock;
    };

    /// Tells whether an item of the map has a given key.
    class DataSearcher
    {
    public:
        explicit DataSearcher(const DataKey& inKey)
            : mKey(inKey)
        {
            mKey.mediaID = 0;
        }
        template <class Iterator>
        bool operator()(const Iterator& inItem) const
        {
            return !(inItem->first < mKey) && !(mKey < inItem->first);
        }

    private:
        DataKey mKey;
    };

    using Map = MediaMap<DataKey, Data, DataSearcher>;
    using MapRef = ZOR::InterfaceRef<Map, IMediaMap>;

    /// Shares the map of the factory, which is made if it is not there.
    FileBuffer();

    qelcore::Result Init(const unsigned long long& inFileID, const qelcore::UTF16String& inPath,
                         const long long& inFileStamp) override;
    /// @param inMemory  of more than 0 bytes: see MediaMap::Insert.
    qelcore::Result AddToCache(const qelcore::utility::RecycledMemoryPtr& inMemory,
                               long long inOffset) override;
    qelcore::Result FindInCache(long long inOffset, long long inSize,
                                qelcore::utility::RecycledMemoryPtr& outMemory) override;
    void MarkPurgeable(long long inOffset, long long inSize) override;
    void MarkNonPurgeable(long long inOffset, long long inSize) override;

private:
    DataKey KeyOf(long long inOffset, long long inSize) const;

    qelcore::utility::ImmutableString mPath;
    std::uint64_t mFileID = 0;
    std::int64_t mFileStamp = 0;
    const MapRef mMap;
};

// The maker of file buffers, and the owner of their map: one in the process, while somebody holds it.
//
// Threads  Any function from any thread.
class FileBufferFactory : public ZOR::IFileBufferFactory
{
public:
    using Ref = ZOR::InterfaceRef<FileBufferFactory, ZOR::IFileBufferFactory>;
    using Singleton = ZOR::SingletonSupport<Ref>;

    FileBufferFactory(const FileBufferFactory&) = delete;
    FileBufferFactory& operator=(const FileBufferFactory&) = delete;

    void AddRef() override { Singleton::AddRef(this); }
    void Release() override { Singleton::Release(this); }
    qelcore::Result QueryMap(const ZOR::CFUUIDBytes& inID, void** outInterface) override;
    ZOR::ZORUnknown* GetZORUnknown() override { return this; }

    ZOR::IFileBufferRef CreateFileBuffer() override;
    /// Shares the map, which outlives the factory in the hands of buffers and of the media manager.
    FileBuffer::MapRef GetBufferMap() const { return mMap; }

private:
    friend Singleton;
    FileBufferFactory();
    ~FileBufferFactory() override;

    const FileBuffer::MapRef mMap;
};

} // namespace RK
