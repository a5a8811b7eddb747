#pragma once

#include "Command.h"

namespace TarnJobs {

/// Asks on the terminal, unless --yes was given. Without a terminal nobody is asked. Throws WrongArguments when the
/// answer is no.
void Confirm(const Invocation& invocation, const std::string& question);
bool CanAsk();

} // namespace TarnJobs
