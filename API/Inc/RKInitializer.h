#pragma once

#include "qelcore/Export.h"

namespace ZOR
{
class Impl;
}

namespace RK
{

// Starts the library when constructed and stops it when destroyed. Any number may live at a time,
// nested or side by side: only the first construction and the last destruction do work.
class RK_API Initializer
{
public:
    Initializer();
    ~Initializer();
    Initializer(Initializer&& ioOther) noexcept;
    Initializer(const Initializer&) = delete;
    Initializer& operator=(const Initializer&) = delete;

private:
    class PrivateImpl;
    ZOR::Impl* mImpl;
};

} // namespace RK
