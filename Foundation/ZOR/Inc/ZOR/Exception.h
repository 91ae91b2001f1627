#pragma once

#include <exception>
#include <string>

#include "qelcore/Export.h"

namespace ZOR
{

/// Base of the foundation's exceptions.
class RK_API Exception : public std::exception
{
public:
    explicit Exception(const std::string& inWhat);
    ~Exception() override;
    const char* what() const noexcept override;

private:
    std::string mWhat;
};

} // namespace ZOR
