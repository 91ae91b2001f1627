#pragma once

#include "qelcore/Export.h"

namespace ZOR
{
class Impl;
}

namespace RK
{

// Starts the library when constructed and stops it when destroyed. Any number may live at a time,
// nested or side by side: only the first construction and the last destruction do work. After the last
// one the library can be started again.
//
// Threads  Any thread may construct and destroy; starting and stopping take turns, and run on the
//          thread that constructs or destroys. A subsystem that is being started may construct another.
// Errors   An exception out of a start step passes on to the caller. The library then counts as
//          started, with the steps before that one done: no later Initializer tries again, and the
//          library is not stopped any more. An exception out of a stop step ends the process.
class RK_API Initializer
{
public:
    Initializer();
    ~Initializer();
    /// Takes the duty to stop over: ioOther's destruction then does nothing.
    Initializer(Initializer&& ioOther) noexcept;
    Initializer(const Initializer&) = delete;
    Initializer& operator=(const Initializer&) = delete;

private:
    class PrivateImpl;
    ZOR::Impl* mImpl;
};

} // namespace RK
