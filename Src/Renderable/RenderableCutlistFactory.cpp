#include "Renderable/IRenderableCutlistFactory.h"

#include <atomic>

#include "LoadOrder.h"

RK_RECORD_SET_UP("Src/Renderable/RenderableCutlistFactory");

namespace RK
{

namespace
{

using qelcore::utility::Guid;
using qelcore::utility::ImmutableString;

constexpr Guid kCutlistID(0xC7146C2E, 0x7E0B, 0x4E52, 0x9B, 0x3D, 0x5A, 0x11, 0xE4, 0x08, 0x6F,
                          0xD3);
constexpr Guid kFactoryID(0x2B9F50A1, 0x63C4, 0x4D0E, 0xA8, 0x77, 0x1C, 0xF2, 0x39, 0x95, 0x4A,
                          0x60);

// Owns a reference. Never destroyed, so that it can be asked until the process ends.
constinit std::atomic<IRenderableCutlistFactory*> sFactory{nullptr};

} // namespace

IRenderableCutlist::~IRenderableCutlist() = default;
IRenderableCutlistProvider::~IRenderableCutlistProvider() = default;
IRenderableCutlistFactory::~IRenderableCutlistFactory() = default;

const Guid& GuidOf(IRenderableCutlist*)
{
    return kCutlistID;
}

const Guid& GuidOf(IRenderableCutlistFactory*)
{
    return kFactoryID;
}

IRenderableCutlistRef
IRenderableCutlistProvider::GetRenderableCutlistWithPreviewFilesWithStreamLabel(
    const ImmutableString& inLabel, bool inFlag)
{
    return GetRenderableCutlistWithStreamLabel(inLabel, inFlag);
}

IRenderableCutlistRef
IRenderableCutlistProvider::GetRenderableCutlistWithAlphaCorrectPreviewFilesWithStreamLabel(
    const ImmutableString& inLabel, bool inFlag)
{
    return GetRenderableCutlistWithStreamLabel(inLabel, inFlag);
}

void SetCutlistFactory(const IRenderableCutlistFactoryRef& inFactory)
{
    IRenderableCutlistFactory* const factory = IRenderableCutlistFactoryRef(inFactory).detach();
    IRenderableCutlistFactory* old = sFactory.load();
    while (!sFactory.compare_exchange_weak(old, factory))
    {
    }
    // The old one goes with the place's own reference to it, now that nobody can find it there.
    const IRenderableCutlistFactoryRef released(old, false);
}

IRenderableCutlistFactoryRef GetCutlistFactory()
{
    return IRenderableCutlistFactoryRef(sFactory.load());
}

} // namespace RK
