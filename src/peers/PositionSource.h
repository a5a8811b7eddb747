#pragma once

#include "jobs/Values.h"

struct gps_data_t;

namespace JobsManagerD {

/// The position by the GPS receiver, as decimal degrees with six decimals; both texts empty when it is not known.
/// Reads the shared memory of gpsd anew at each call; on any thread.
Position GetCurrentPosition();

/// The position in what gpsd told: both texts empty, with a debug line, unless the receiver has a fix (status 1 or 2)
/// in two or three dimensions.
Position PositionOfFix(const gps_data_t& gpsData);

/// What this unit is, asked once and then kept. The first call must come before any other thread runs.
const Source& GetThisUnitInfo();

} // namespace JobsManagerD
