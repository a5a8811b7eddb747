#pragma once

#include <string>

/// What the control unit says about itself. On the unit a closed library answers; elsewhere the stand-in of this folder
/// answers from the machine. No text is ever empty, nothing throws, and any thread may ask.
namespace TarnInfo {

namespace ThisModel {
/// The product name that people read.
std::string DisplayName();
} // namespace ThisModel

namespace ThisTarn {
/// Stays the same over restarts; tells this unit from others of its model.
std::string SerialNumber();
/// Version of the system software.
std::string FirmwareVersion();
} // namespace ThisTarn

} // namespace TarnInfo
