#pragma once

#include "qelcore/FileExceptions.h"

namespace RK
{

/// Traces what the file layer has raised, in the user's language.
void TraceFileFailure(const qelcore::filesupport::file_exception& inFailure);

/// Does the work of a job of the store in a folder: what the file layer raises is traced and ends it.
template <class Work>
void CatchingFileFailures(const Work& inWork)
{
    try
    {
        inWork();
    }
    catch (const qelcore::filesupport::file_exception& failure)
    {
        TraceFileFailure(failure);
    }
}

} // namespace RK
