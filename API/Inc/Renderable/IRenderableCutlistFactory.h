#pragma once

#include <boost/shared_ptr.hpp>

#include "Renderable/IRenderableCutlistProvider.h"
#include "ZOR/InterfaceRef.h"
#include "ZOR/ZORUnknown.h"
#include "qelcore/Export.h"
#include "qelcore/Guid.h"

namespace RK
{

// Makes providers of cutlists out of what an application edits. The application has one.
// Threads  As the factory says.
class RK_API IRenderableCutlistFactory : public ZOR::ZORUnknown
{
public:
    /// @param inSource  what is to be rendered; not null.
    /// @return null if the factory does not know such a source.
    virtual boost::shared_ptr<IRenderableCutlistProvider>
    CreateCutlistProvider(const ZOR::InterfaceRef<ZOR::ZORUnknown, ZOR::ZORUnknown>& inSource) = 0;

protected:
    ~IRenderableCutlistFactory() override;
};

using IRenderableCutlistFactoryRef =
    ZOR::InterfaceRef<IRenderableCutlistFactory, IRenderableCutlistFactory>;
RK_API const qelcore::utility::Guid& GuidOf(IRenderableCutlistFactory*);

/// Puts a factory into the process's one place for it, in exchange for the one that is there. null empties
/// the place; a factory that is left in it when the process ends is not let go.
///
/// Threads  Any, and several at once. But a factory must not be taken out while another thread may be in
///          GetCutlistFactory(): that thread could get one whose last reference has just gone. The place
///          is meant to be filled once, at start-up, before anybody asks.
RK_API void SetCutlistFactory(const IRenderableCutlistFactoryRef& inFactory);

/// @return the factory, or null. One atomic load and the count of a reference.
RK_API IRenderableCutlistFactoryRef GetCutlistFactory();

} // namespace RK
