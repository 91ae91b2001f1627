#pragma once

#include <cstdint>

#include <boost/shared_ptr.hpp>

namespace RK
{

class DecodeQueueImpl;

// Knows the decode queues that there are, and shows them in the debug monitor's source "RK.DecodeQueues".
// It holds none of them, except for the moment of a report. Any thread.
namespace DecodeQueueMonitor
{

/// @return the number by which the queue is shown, from 1.
std::uint64_t Add(const boost::shared_ptr<DecodeQueueImpl>& inQueue);
/// Does nothing for a number that is not there, such as 0.
void Remove(std::uint64_t inNumber);

} // namespace DecodeQueueMonitor
} // namespace RK
