#pragma once

#include "Page.h"

// How results look to people.

namespace TarnJobs {

void ShowNothing(Page& page, const Json& result);
/// The member "id".
void ShowId(Page& page, const Json& result);
/// Any value: a line per member, indented by depth.
void ShowTree(Page& page, const Json& result);
/// An array, a line per element.
void ShowLines(Page& page, const Json& result);
void ShowDevices(Page& page, const Json& devices);
void ShowStatus(Page& page, const Json& status);
void ShowStats(Page& page, const Json& stats);
void ShowJobs(Page& page, const Json& summaries);
/// Jobs, with what was found in each.
void ShowFound(Page& page, const Json& summaries);
void ShowSearchStats(Page& page, const Json& stats);
/// The end of work on jobs, or what it would do.
void ShowBulk(Page& page, const Json& bulk);
void ShowEvent(Page& page, const Json& event);

} // namespace TarnJobs
