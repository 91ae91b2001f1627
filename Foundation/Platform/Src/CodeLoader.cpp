#include "Platform/CodeLoader.h"

#include "CurrentInstance.h"
#include "LinuxCodeLoader.h"

namespace Platform
{
namespace
{

constinit CurrentInstance<ICodeLoader> sCurrent;

ICodeLoader& RealCodeLoader()
{
    static LinuxCodeLoader* const sReal = new LinuxCodeLoader; // outlives all statics
    return *sReal;
}

} // namespace

ICodeLoader::~ICodeLoader() = default;

ICodeLoader& CodeLoader()
{
    return sCurrent.Get(RealCodeLoader);
}

ScopedCodeLoader::ScopedCodeLoader(ICodeLoader& inLoader)
    : mBefore(sCurrent.Exchange(&inLoader))
{
}

ScopedCodeLoader::~ScopedCodeLoader()
{
    sCurrent.Exchange(mBefore);
}

} // namespace Platform
