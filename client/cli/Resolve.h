#pragma once

#include "Command.h"

namespace TarnJobs {

/// Something that has an ID, and goes by a name.
struct NamedObject {
    std::string id;
    std::string name; ///< may be empty
};

/// The objects that a value of the argument may mean, of the device and the job that were given. None when the service
/// refuses to tell. Of jobs so many at most, the latest; 0 is all.
std::vector<NamedObject> NamedObjects(libjobsdaemon::JobsManager& service, const Argument& argument, const Given& given,
                                      uint16_t limit);

/// What was given with the IDs of jobs, media items and contacts in the places where their names, or at least four
/// characters that their IDs begin with, were typed. What fits nothing stays, for the service to refuse. Throws
/// WrongArguments for what fits several.
Given Resolved(libjobsdaemon::JobsManager& service, const Command& command, const Given& given);

} // namespace TarnJobs
