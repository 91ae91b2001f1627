#pragma once

#include "ZOR/InterfaceRef.h"
#include "ZOR/ZORUnknown.h"
#include "qelcore/Export.h"
#include "qelcore/Guid.h"
#include "qelcore/ImmutableString.h"
#include "qelmediatypes/FrameRate.h"
#include "qelmediatypes/TickTime.h"

namespace RK
{

// A list of what is shown when, ready to be rendered. What is in it is known to those who make it and to
// the renderer that takes it; the library only hands it on.
class RK_API IRenderableCutlist : public ZOR::ZORUnknown
{
protected:
    ~IRenderableCutlist() override;
};

using IRenderableCutlistRef = ZOR::InterfaceRef<IRenderableCutlist, IRenderableCutlist>;
RK_API const qelcore::utility::Guid& GuidOf(IRenderableCutlist*);

// Whoever can be rendered: it gives cutlists of itself.
//
// The order of the operations is the order of the slots in the table, which is contract: add new ones
// at the end alone.
// Threads  As the provider says.
// Errors   A null reference where there is no such cutlist.
class RK_API IRenderableCutlistProvider
{
public:
    virtual qelmediatypes::TickTime GetDuration() const = 0;
    virtual qelmediatypes::FrameRate GetFrameRate() const = 0;
    virtual ~IRenderableCutlistProvider();
    virtual IRenderableCutlistRef GetRenderableCutlist(bool inFlag) = 0;
    virtual IRenderableCutlistRef GetRenderableCutlistWithPreviewFiles(bool inFlag) = 0;
    /// @param inLabel  which stream of several, such as kStreamLabel_Stereoscopic_Left.
    virtual IRenderableCutlistRef
    GetRenderableCutlistWithStreamLabel(const qelcore::utility::ImmutableString& inLabel,
                                        bool inFlag) = 0;

    // A provider that has no preview files need not know these: they are the one above.
    virtual IRenderableCutlistRef GetRenderableCutlistWithPreviewFilesWithStreamLabel(
        const qelcore::utility::ImmutableString& inLabel, bool inFlag);
    virtual IRenderableCutlistRef GetRenderableCutlistWithAlphaCorrectPreviewFilesWithStreamLabel(
        const qelcore::utility::ImmutableString& inLabel, bool inFlag);
};

} // namespace RK
