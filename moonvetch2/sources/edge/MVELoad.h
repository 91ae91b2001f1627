// Why code of a plug-in could not be loaded.
#pragma once

/// Keeps the reason for MVGetLoadFailureText, and traces it ("PluginHost", level 0). A long one is cut.
void mvSetLoadFailure(const char* inText) noexcept;
/// Code was loaded: there is nothing to tell.
void mvClearLoadFailure() noexcept;
