#include "qelcore/ClientName.h"

#include "Platform/ProgramName.h"
#include "qelcore/RecursiveMutex.h"
#include "qelcore/TextConversion.h"

namespace qelcore
{
namespace config
{
namespace
{

struct ClientName
{
    threads::RecursiveMutex mMutex; // a leaf
    UTF16String mName RK_GUARDED_BY(mMutex);
};

ClientName& TheClientName()
{
    static ClientName& sClientName = *new ClientName; // never destroyed: asked for during exit, too
    return sClientName;
}

} // namespace

UTF16String GetClientName()
{
    ClientName& client = TheClientName();
    {
        const threads::RecursiveMutex::ScopedLock lock(client.mMutex, "GetClientName");
        if (!client.mName.empty())
            return client.mName;
    }
    return utility::FileNameToUTF16(Platform::ProgramName());
}

void SetClientName(const UTF16String& inName)
{
    ClientName& client = TheClientName();
    const threads::RecursiveMutex::ScopedLock lock(client.mMutex, "SetClientName");
    client.mName = inName;
}

} // namespace config
} // namespace qelcore
