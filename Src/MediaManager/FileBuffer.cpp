#include "MediaManager/FileBuffer.h"

namespace RK
{

using qelcore::Result;
using qelcore::utility::ImmutableString;
using qelcore::utility::RecycledMemoryPtr;

FileBuffer::FileBuffer()
    : mMap(FileBufferFactory::Singleton::CreateClassRef()->GetBufferMap())
{
}

Result FileBuffer::Init(const unsigned long long& inFileID, const qelcore::UTF16String& inPath,
                        const long long& inFileStamp)
{
    mPath = ImmutableString::CreateDynamic(inPath);
    mFileID = inFileID;
    mFileStamp = inFileStamp;
    return qelcore::kResult_OK;
}

Result FileBuffer::AddToCache(const RecycledMemoryPtr& inMemory, long long inOffset)
{
    DataKey key = KeyOf(inOffset, inMemory ? static_cast<long long>(inMemory->Size()) : 0);
    mMap->Insert(key, Data{inMemory, {}});
    return qelcore::kResult_OK;
}

Result FileBuffer::FindInCache(long long inOffset, long long inSize, RecycledMemoryPtr& outMemory)
{
    DataKey key = KeyOf(inOffset, inSize);
    Data found;
    if (!mMap->Find(key, found))
        return qelcore::kResult_GeneralFailure;
    outMemory = found.memory;
    return qelcore::kResult_OK;
}

void FileBuffer::MarkPurgeable(long long inOffset, long long inSize)
{
    mMap->MakePurgeable(KeyOf(inOffset, inSize));
}

void FileBuffer::MarkNonPurgeable(long long inOffset, long long inSize)
{
    mMap->MakeNonPurgeable(KeyOf(inOffset, inSize));
}

FileBuffer::DataKey FileBuffer::KeyOf(long long inOffset, long long inSize) const
{
    return {mPath, mFileID, mFileStamp, inOffset, inSize, 0};
}

FileBufferFactory::FileBufferFactory()
    : mMap(new FileBuffer::Map)
{
}

FileBufferFactory::~FileBufferFactory() = default;

Result FileBufferFactory::QueryMap(const ZOR::CFUUIDBytes& inID, void** outInterface)
{
    return ZOR::Details::AnswerQueryMap<ZOR::IFileBufferFactory>(this, inID, outInterface);
}

ZOR::IFileBufferRef FileBufferFactory::CreateFileBuffer()
{
    const ZOR::InterfaceRef<FileBuffer, ZOR::IFileBuffer> made(new FileBuffer);
    return ZOR::QueryInterface<ZOR::IFileBuffer>(made);
}

} // namespace RK
