#pragma once

#include <cstddef>
#include <string>

// What a text goes out to: a terminal, or something that takes bytes.

namespace TarnJobs::Terminal {

bool IsTerminal(int descriptor);
/// Whether a line can be drawn over there: a terminal that is not dumb.
bool IsDrawnOn(int descriptor);
/// Columns of the terminal: as it says itself, or as COLUMNS says; else 80.
size_t Width(int descriptor);

/// Columns that the text takes.
size_t WidthOf(const std::string& text);
/// As much of the text's beginning as fits.
std::string Fitting(const std::string& text, size_t width);
/// The text with a ? for everything by which it could steer a terminal or turn its own direction around; new lines and
/// tabulators stay.
std::string Masked(const std::string& text);

/// In red, which is for failures, where the descriptor is a terminal that shows colours and NO_COLOR is not set.
std::string Red(int descriptor, const std::string& text);

} // namespace TarnJobs::Terminal
