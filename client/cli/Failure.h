#pragma once

#include "ExitCodes.h"

#include <string>

namespace TarnJobs {

/// A failure as it goes out, and how the program ends by it.
struct Failure {
    int exitCode;
    const char* kind;
    std::string text;
    int32_t code = -1;     ///< of the service, if it was a refusal
    std::string hint = {}; ///< what people can do about it
    std::string job = {};  ///< the job, when it is one of many
};

/// The exception that is being handled. `typed` is the command line after the program's name, for a hint that repeats
/// it.
Failure PresentFailure(const std::string& typed, bool isOfUserBus);
/// The refusal of one job of many.
Failure RefusalOf(const Refused& refused, const std::string& job);

/// The failure in one line: JSON, or for people, with its hint.
std::string FailureLine(const Failure& failure, bool isJson);

} // namespace TarnJobs
