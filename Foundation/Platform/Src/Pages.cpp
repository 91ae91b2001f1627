#include "Platform/Pages.h"

#include <sys/mman.h>

namespace Platform
{

void* AllocatePages(std::size_t inSize) noexcept
{
    void* const pages =
        mmap(nullptr, inSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return pages == MAP_FAILED ? nullptr : pages;
}

void FreePages(void* inPages, std::size_t inSize) noexcept
{
    munmap(inPages, inSize);
}

} // namespace Platform
