#include "MVELoad.h"

#include <cstring>

#include "../MVThread.h"
#include "MVEFiles.h"
#include "MoonVetch/Host.h"
#include "qelcore/Trace.h"

namespace
{

char sLoadFailure[1024];

} // namespace

void mvSetLoadFailure(const char* inText) noexcept
{
    RK_TRACE("PluginHost", 0, inText);
    mvEdgeCopyText(inText, sLoadFailure, sizeof sLoadFailure);
}

void mvClearLoadFailure() noexcept
{
    sLoadFailure[0] = '\0';
}

extern "C" const char* MVGetLoadFailureText(void)
{
    MV_ONE_THREAD();
    return sLoadFailure;
}
