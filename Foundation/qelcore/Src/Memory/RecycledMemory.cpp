#include "qelcore/RecycledMemory.h"

#include <functional>
#include <utility>

#include <boost/make_shared.hpp>

#include "qelcore/Contract.h"
#include "qelcore/MemoryRecycler.h"

namespace qelcore
{
namespace utility
{

RecycledMemory::RecycledMemory() noexcept
    : data(nullptr)
    , size(0)
    , capacity(0)
{
}

RecycledMemory::~RecycledMemory()
{
    Release();
}

RecycledMemoryPtr RecycledMemory::Create(std::size_t inSize)
{
    RecycledMemoryPtr memory = boost::make_shared<RecycledMemory>();
    memory->data = MemoryRecycler::Allocate(inSize, memory->capacity);
    memory->size = inSize;
    return memory;
}

RecycledMemoryPtr RecycledMemory::AdaptAsRecycledMemory(const boost::shared_ptr<void>& inOwner,
                                                        void* inData, std::size_t inSize)
{
    RecycledMemoryPtr memory = boost::make_shared<RecycledMemory>();
    memory->Attach(inOwner, inData, inSize);
    return memory;
}

void RecycledMemory::SetSize(std::size_t inSize)
{
    RK_REQUIRE_CONTRACT(inSize <= capacity, "inSize <= capacity",
                        "Foundation/qelcore/Src/Memory/RecycledMemory");
    size = inSize;
}

void RecycledMemory::Attach(boost::shared_ptr<void> inOwner, void* inData, std::size_t inSize)
{
    if (inOwner.get() == this || Owns(inData))
        inOwner = MoveOut(); // holding itself, it would never end
    Release();
    data = inData;
    size = inSize;
    capacity = inSize;
    externalOwner = std::move(inOwner);
}

bool RecycledMemory::Owns(const void* inData) const noexcept
{
    if (inData == nullptr || data == nullptr || externalOwner.use_count() != 0)
        return false;
    const char* const first = static_cast<const char*>(data);
    const std::less_equal<const void*> before;
    return before(first, inData) && !before(first + capacity, inData);
}

RecycledMemoryPtr RecycledMemory::MoveOut()
{
    RecycledMemoryPtr moved = boost::make_shared<RecycledMemory>();
    std::swap(moved->data, data);
    std::swap(moved->size, size);
    std::swap(moved->capacity, capacity);
    moved->externalOwner.swap(externalOwner);
    return moved;
}

void RecycledMemory::Release() noexcept
{
    // The fields are cleared first: the owner's destructor may look at this object.
    void* const block = std::exchange(data, nullptr);
    const std::size_t bytes = std::exchange(capacity, 0);
    size = 0;
    boost::shared_ptr<void> owner;
    owner.swap(externalOwner);
    if (owner.use_count() == 0 && block != nullptr)
        MemoryRecycler::Recycle(block, bytes);
}

} // namespace utility
} // namespace qelcore
