#pragma once

#include "qelcore/ErrorManager.h"
#include "qelcore/Export.h"

namespace ZOR
{

/// The error manager of the application framework: what libraries above the foundation derive theirs
/// from. Everything is as in the base.
class RK_API QELErrorManager : public qelcore::config::ErrorManager
{
public:
    ~QELErrorManager() override;
};

} // namespace ZOR
