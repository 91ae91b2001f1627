#pragma once

namespace Platform
{

/// No fork() happens while it lives. Held for a few system calls.
class ForkBarrier
{
public:
    ForkBarrier();
    ~ForkBarrier();
    ForkBarrier(const ForkBarrier&) = delete;
    ForkBarrier& operator=(const ForkBarrier&) = delete;
};

// Descriptors whose locks a child of fork() must not share: they are closed there. With any of them open
// in a child, the locks would outlive their holder. Open and add within one barrier, as remove and close.
void AddLockedDescriptor(const ForkBarrier& inBarrier, int inDescriptor);
void RemoveLockedDescriptor(const ForkBarrier& inBarrier, int inDescriptor) noexcept;

} // namespace Platform
