#pragma once

#include "qelcore/Export.h"

namespace ZOR
{

/// The base of hidden implementations: a public class owns one and deletes it through this base.
class RK_API Impl
{
public:
    virtual ~Impl();
};

} // namespace ZOR
