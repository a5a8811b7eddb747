#pragma once

#include "Command.h"

namespace TarnJobs {

/// An event as "watch" tells it: its name as "event", then its members.
Json EventJson(const libjobsdaemon::Event& event);
/// The names that it gives.
std::vector<std::string> EventNames();

} // namespace TarnJobs
