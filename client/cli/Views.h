#pragma once

#include "Command.h"

#include <ostream>

// Results as people read them.

namespace TarnJobs {

void ShowNothing(std::ostream& out, const Json& result);
/// The text of the member "id".
void ShowId(std::ostream& out, const Json& result);
/// A text as it is, anything else as a tree of indented lines.
void ShowTree(std::ostream& out, const Json& result);
void ShowDevices(std::ostream& out, const Json& devices);
void ShowJobs(std::ostream& out, const Json& summaries);
void ShowBulk(std::ostream& out, const Json& bulk);
void ShowEvent(std::ostream& out, const Json& event);

/// The text without what would move a terminal's cursor, or colour it.
std::string Printable(const std::string& text);

} // namespace TarnJobs
