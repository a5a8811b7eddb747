#include "device/JobSettings.h"

namespace JobsManagerD {

std::string defaultJobName;
std::string jobNameSuffixFormat;
std::atomic<double> multiJobIndexUpdatePeriod{0.0};
std::atomic<double> multiJobMoveCopyUpdatePeriod{0.0};
std::atomic<double> multiJobConvertUpdatePeriod{0.0};
std::atomic<double> multiJobDeleteUpdatePeriod{0.0};

} // namespace JobsManagerD
