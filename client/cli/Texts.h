#pragma once

#include <string>

// Texts made of the table of commands.

namespace TarnJobs {

inline constexpr char programName[] = "tarn-jobs";
inline constexpr char programSummary[] = "Works with the jobs of an inspection camera's control unit.";

std::string BashCompletion();
std::string ZshCompletion();
/// The manual page, for man(1).
std::string ManualPage();

} // namespace TarnJobs
