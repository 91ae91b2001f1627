#pragma once

namespace ZOR
{
namespace Details
{

/// Forgets what was posted and not told yet.
void DropPostedMessages();

} // namespace Details
} // namespace ZOR
