#pragma once

#include <atomic>
#include <string>

namespace JobsManagerD {

/// Job files made from now on are named ".job.json", and job files written from now on get the FAT hidden attribute.
/// Written on the main thread, read by any.
extern std::atomic<bool> hideJobFiles;

/// Name of a job file that is about to be made: ".job.json" or "job.json", by `hideJobFiles`.
std::string JobFileName();

/// Name of the copy of a job file's previous state: the same path with ".bak" behind it.
std::string BackupPath(const std::string& path);

/// The last extension without its dot; empty for ".", ".." and names without one.
std::string GetPathExtension(const std::string& path);

/// What is called `name` in `folder`, which may end in a "/".
std::string PathIn(const std::string& folder, const std::string& name);

/// The last component.
std::string FileName(const std::string& path);

/// The text before the last "/"; empty for a path without "/" and for one whose only "/" is its first character. "."
/// and ".." are returned as they are. Works on the text alone.
std::string DirectoryPart(const std::string& path);

/// True when `path`, its dots resolved in the text, names something below `folder`. Names that come from a card or
/// from the bus are tested with this before the file is touched.
bool LiesUnder(const std::string& folder, const std::string& path);

/// How far `GetUniqueFileStem` counts for a job or a media file.
constexpr int mostStemAttempts = 50;

/// A stem that no entry of the folder begins with: `candidateStem`, or else "<candidateStem>_<n>" with the smallest n
/// from 1 to `limit` that is free. Empty, with a log line, when none is or when the folder cannot be listed.
std::string GetUniqueFileStem(const std::string& parentPath, const std::string& candidateStem, int limit);

} // namespace JobsManagerD
