// What makes a service of a library whose calls wait: plain pools, the same for each peer.
#pragma once

#include <memory>

#include "../PlainPool.h"
#include "Subject.h"

namespace Bench
{

// Puts are done by one thread in order, and gets by up to 64, as in the data cache.
class PooledSubject : public ISubject
{
public:
    void Put(const Item& inItem, const Done& inDone) final
    {
        mPuts->Post(
            [this, item = inItem, inDone]
            {
                PutNow(item);
                inDone();
            });
    }
    void Get(const Item& inItem, const Done& inDone) final
    {
        mGets->Post(
            [this, item = inItem, inDone]
            {
                GetNow(item);
                inDone();
            });
    }

protected:
    explicit PooledSubject(bool inOwnThreads = true)
        : mPuts(std::make_unique<PlainPool>(inOwnThreads ? 1 : 0))
        , mGets(std::make_unique<PlainPool>(inOwnThreads ? 64 : 0))
    {
    }
    virtual void PutNow(const Item& inItem) = 0;
    virtual void GetNow(const Item& inItem) = 0;

    /// A buffer that is not cleared first, like those of the data cache.
    static std::unique_ptr<char[]> NewBuffer(std::size_t inSize)
    {
        return std::unique_ptr<char[]>(new char[inSize]);
    }
    static std::string NameOf(const Item& inItem) { return inItem.key + "." + inItem.subKey; }

private:
    std::unique_ptr<PlainPool> mPuts;
    std::unique_ptr<PlainPool> mGets;
};

} // namespace Bench
