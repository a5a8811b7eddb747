#pragma once

#include <string>
#include <vector>

// Texts made of the table of commands.

namespace TarnJobs {

struct Command;

inline constexpr char programName[] = "tarn-jobs";
inline constexpr char programSummary[] = "Works with the jobs of an inspection camera's control unit.";

/// What fits in the place of the last word, a line each: the value, a tabulator and what it is. A line ":files" says
/// that file names fit. Ends the program without a word when the service does not answer in time.
void PrintCompletions(const std::vector<std::string>& words);
/// The manual page, for man(1).
std::string ManualPage();
/// Help with the program; null stands for all of it.
std::string Help(const Command* command);

} // namespace TarnJobs
