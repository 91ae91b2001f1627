#include "ZOR/Foundation.h"

#include "qelcore/Contract.h"
#include "qelcore/RecursiveMutex.h"

namespace ZOR
{
namespace Foundation
{

namespace
{

constinit qelcore::threads::RecursiveMutex sMutex;
constinit int sInitializationCount RK_GUARDED_BY(sMutex) = 0;

// A bare pointer that owns a reference, since a static with a destructor would let go of the factory
// at exit, when the library that the factory belongs to may have gone.
constinit IFileBufferFactory* sFileBufferFactory RK_GUARDED_BY(sMutex) = nullptr;

} // namespace

void Initialize()
{
    qelcore::threads::RecursiveMutex::ScopedLock lock(sMutex, "ZOR::Foundation::Initialize");
    ++sInitializationCount;
}

void Terminate()
{
    {
        qelcore::threads::RecursiveMutex::ScopedLock lock(sMutex, "ZOR::Foundation::Terminate");
        RK_REQUIRE_CONTRACT(sInitializationCount > 0, "sInitializationCount > 0",
                            "Foundation/ZOR/Src/Foundation");
        if (--sInitializationCount > 0)
            return;
    }
    SetFileBufferFactory(nullptr);
}

void SetFileBufferFactory(const InterfaceRef<IFileBufferFactory, IFileBufferFactory>& inFactory)
{
    IFileBufferFactoryRef added = inFactory;
    IFileBufferFactoryRef before; // outlives the lock
    qelcore::threads::RecursiveMutex::ScopedLock lock(sMutex,
                                                      "ZOR::Foundation::SetFileBufferFactory");
    before = IFileBufferFactoryRef(sFileBufferFactory, false);
    sFileBufferFactory = added.detach();
}

InterfaceRef<IFileBufferFactory, IFileBufferFactory> GetFileBufferFactory()
{
    qelcore::threads::RecursiveMutex::ScopedLock lock(sMutex,
                                                      "ZOR::Foundation::GetFileBufferFactory");
    return IFileBufferFactoryRef(sFileBufferFactory);
}

} // namespace Foundation
} // namespace ZOR
