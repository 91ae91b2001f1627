#pragma once

#include <boost/shared_ptr.hpp>

#include "ZOR/InterfaceRef.h"
#include "ZOR/ZORUnknown.h"
#include "qelcore/Export.h"
#include "qelcore/RecycledMemory.h"
#include "qelcore/Result.h"
#include "qelcore/UTFString.h"

namespace ZOR
{

// The cache behind one file object: blocks that were read from a file, found again by exactly the
// offset and the size with which they were added.
//
// Threads  Any operation but Init from any thread.
// Units    Offsets and sizes are bytes.
class RK_API IFileBuffer : public ZORUnknown
{
public:
    /// Says which file, in which state, the blocks belong to. Called once, before all others.
    /// @param inFileID     identifies the file.
    /// @param inFileStamp  identifies its content: another content, another stamp.
    virtual qelcore::Result Init(const unsigned long long& inFileID,
                                 const qelcore::UTF16String& inPath,
                                 const long long& inFileStamp) = 0;
    /// Shares inMemory as the block at inOffset. A block that is there already stays.
    virtual qelcore::Result
    AddToCache(const boost::shared_ptr<qelcore::utility::RecycledMemory>& inMemory,
               long long inOffset) = 0;
    /// @param outMemory  on success shares the block; untouched otherwise.
    /// @return negative if there is no such block.
    virtual qelcore::Result
    FindInCache(long long inOffset, long long inSize,
                boost::shared_ptr<qelcore::utility::RecycledMemory>& outMemory) = 0;
    /// Lets a block go when memory is short, as every block may be that was not marked otherwise.
    virtual void MarkPurgeable(long long inOffset, long long inSize) = 0;
    /// Keeps a block as far as possible. An unknown range is ignored.
    virtual void MarkNonPurgeable(long long inOffset, long long inSize) = 0;
    ~IFileBuffer() override;
};

/// Makes the buffers of file objects. Threads: any.
class RK_API IFileBufferFactory : public ZORUnknown
{
public:
    /// @return a new buffer, not yet initialised.
    virtual InterfaceRef<IFileBuffer, IFileBuffer> CreateFileBuffer() = 0;
    ~IFileBufferFactory() override;
};

using IFileBufferRef = InterfaceRef<IFileBuffer, IFileBuffer>;
using IFileBufferFactoryRef = InterfaceRef<IFileBufferFactory, IFileBufferFactory>;

RK_API const qelcore::utility::Guid& GuidOf(IFileBuffer*);
RK_API const qelcore::utility::Guid& GuidOf(IFileBufferFactory*);

} // namespace ZOR
