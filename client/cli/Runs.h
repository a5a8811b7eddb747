#pragma once

#include "Command.h"

// What the commands do.

namespace TarnJobs::Runs {

// DeviceRuns.cpp
Outcome Devices(const Session& session);
Outcome Target(const Session& session);
Outcome Index(const Session& session);
Outcome Convert(const Session& session);
Outcome Cancel(const Session& session);
Outcome Watch(const Session& session);

// JobRuns.cpp
Outcome Create(const Session& session);
Outcome Open(const Session& session);
Outcome Close(const Session& session);
Outcome Current(const Session& session);
Outcome Show(const Session& session);
Outcome Folder(const Session& session);
Outcome Counts(const Session& session);
Outcome Get(const Session& session);
Outcome Set(const Session& session);
Outcome Clear(const Session& session);
Outcome Contacts(const Session& session);
Outcome Contact(const Session& session);
Outcome AddContact(const Session& session);
Outcome UpdateContact(const Session& session);
Outcome RemoveContact(const Session& session);

// MediaRuns.cpp
Outcome NewMedia(const Session& session);
Outcome Add(const Session& session);
Outcome MediaID(const Session& session);
Outcome UpdateSizes(const Session& session);
Outcome DeleteMedia(const Session& session);

// ListRuns.cpp
Outcome List(const Session& session);
Outcome Stats(const Session& session);
Outcome Search(const Session& session);
Outcome Results(const Session& session);
Outcome SearchStats(const Session& session);

// BulkRuns.cpp
Outcome Delete(const Session& session);
Outcome Move(const Session& session);
Outcome Copy(const Session& session);

/// The names of the fields that "get" and "set" know.
std::vector<std::string> FieldNames();
std::vector<std::string> ClearableNames();
/// The kinds of media that "add" knows.
std::vector<std::string> MediaKinds();

/// The answer of a command that has nothing else to tell.
Outcome Done(int32_t code);

} // namespace TarnJobs::Runs
