#pragma once

#include "Command.h"

namespace TarnJobs {

/// An event as "watch" tells it: its name as "event", then its members.
Json EventJson(const libjobsdaemon::Event& event);

/// The JSON that the text is, or the text itself when it is none; null for an empty text.
Json Parsed(const std::string& text);

} // namespace TarnJobs
