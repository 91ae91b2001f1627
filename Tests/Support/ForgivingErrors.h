#pragma once

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>

#include "qelcore/ErrorManager.h"

namespace Testing
{

// While it lives the error manager in force raises nothing, so that execution goes on.
class ForgivingErrors
{
public:
    ForgivingErrors()
        : mBefore(qelcore::config::SetErrorManager(boost::make_shared<Forgiving>()))
    {
    }
    ~ForgivingErrors() { qelcore::config::SetErrorManager(mBefore); }
    ForgivingErrors(const ForgivingErrors&) = delete;
    ForgivingErrors& operator=(const ForgivingErrors&) = delete;

private:
    struct Forgiving : qelcore::config::ErrorManager
    {
        void ThrowError(int, const std::string&, const qelcore::config::ReplacementValues&) override
        {
        }
    };
    const boost::shared_ptr<qelcore::config::ErrorManager> mBefore;
};

} // namespace Testing
