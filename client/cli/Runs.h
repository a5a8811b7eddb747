#pragma once

#include "Command.h"

// What the commands do.

namespace TarnJobs::Runs {

// DeviceRuns.cpp
Outcome Devices(const Invocation& invocation);
Outcome Target(const Invocation& invocation);
Outcome Index(const Invocation& invocation);
Outcome Convert(const Invocation& invocation);
Outcome Cancel(const Invocation& invocation);
Outcome Watch(const Invocation& invocation);

// JobRuns.cpp
Outcome Create(const Invocation& invocation);
Outcome Open(const Invocation& invocation);
Outcome Close(const Invocation& invocation);
Outcome Current(const Invocation& invocation);
Outcome Show(const Invocation& invocation);
Outcome Folder(const Invocation& invocation);
Outcome Counts(const Invocation& invocation);
Outcome Get(const Invocation& invocation);
Outcome Set(const Invocation& invocation);
Outcome Clear(const Invocation& invocation);
Outcome Contacts(const Invocation& invocation);
Outcome Contact(const Invocation& invocation);
Outcome AddContact(const Invocation& invocation);
Outcome UpdateContact(const Invocation& invocation);
Outcome RemoveContact(const Invocation& invocation);

// MediaRuns.cpp
Outcome NewMedia(const Invocation& invocation);
Outcome Add(const Invocation& invocation);
Outcome MediaID(const Invocation& invocation);
Outcome UpdateSizes(const Invocation& invocation);
Outcome DeleteMedia(const Invocation& invocation);

// ListRuns.cpp
Outcome List(const Invocation& invocation);
Outcome Stats(const Invocation& invocation);
Outcome Search(const Invocation& invocation);
Outcome Results(const Invocation& invocation);
Outcome SearchStats(const Invocation& invocation);

// ServiceRuns.cpp
Outcome Status(const Invocation& invocation);
Outcome Raw(const Invocation& invocation);

// BulkRuns.cpp
Outcome Delete(const Invocation& invocation);
Outcome Move(const Invocation& invocation);
Outcome Copy(const Invocation& invocation);

/// The names of the fields that "get" and "set" know.
std::vector<std::string> FieldNames();
std::vector<std::string> ClearableNames();
/// The kinds of media that "add" knows.
std::vector<std::string> MediaKinds();

Json DevicesJson(libjobsdaemon::JobsManager& service);

/// The answer of a command that has nothing else to tell; people need not read it.
Outcome Done(int32_t code);
/// An answer of the service that is JSON.
Outcome Relayed(const libjobsdaemon::TextResult& result);

} // namespace TarnJobs::Runs
