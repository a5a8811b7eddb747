#include "peers/PositionSource.h"

#include "TarnInfo.h"

#include <cmath>
#include <cstdio>
#include <gps.h>
#include <memory>
#include <syslog.h>

namespace JobsManagerD {
namespace {

std::string DegreesText(double degrees) {
    char text[64];
    const int length = std::snprintf(text, sizeof text, "%f", degrees);
    return {text, static_cast<size_t>(length)};
}

bool HasFix(const gps_fix_t& fix) {
    const bool isFixed = fix.status == STATUS_FIX || fix.status == STATUS_DGPS_FIX;
    const bool isLocated = fix.mode == MODE_2D || fix.mode == MODE_3D;
    return isFixed && isLocated && !std::isnan(fix.latitude) && !std::isnan(fix.longitude);
}

} // namespace

Position PositionOfFix(const gps_data_t& gpsData) {
    if (HasFix(gpsData.fix))
        return {DegreesText(gpsData.fix.latitude), DegreesText(gpsData.fix.longitude)};
    syslog(LOG_DEBUG, "JobsManagerD::GetCurrentPosition - Failed to retrieve GPS location - GPS not locked");
    return {};
}

Position GetCurrentPosition() {
    // The structure takes some hundred kilobytes. Zeroed and with an invalid descriptor, so that closing after a failed
    // open closes nothing.
    const auto gpsData = std::make_unique<gps_data_t>();
    gpsData->gps_fd = -1;

    Position position;
    if (gps_open(GPSD_SHARED_MEMORY, nullptr, gpsData.get()) == 0 && gps_read(gpsData.get(), nullptr, 0) >= 0)
        position = PositionOfFix(*gpsData);
    else
        syslog(LOG_ERR, "JobsManagerD::GetCurrentPosition - Failed to open and read from GPS device");
    if (gps_close(gpsData.get()) < 0)
        syslog(LOG_ERR, "JobsManagerD::GetCurrentPosition - Failed to close GPS device");
    return position;
}

const Source& GetThisUnitInfo() {
    static const Source unit{TarnInfo::ThisModel::DisplayName(), TarnInfo::ThisTarn::SerialNumber(),
                             TarnInfo::ThisTarn::FirmwareVersion()};
    return unit;
}

} // namespace JobsManagerD
