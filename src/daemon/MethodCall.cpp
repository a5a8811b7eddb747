#include "daemon/MethodCall.h"

namespace JobsManagerD {

int ReplyWithError(JobsManagerDaemon& daemon, sd_bus_message* call, const char* text) {
    return daemon.WithBus([&](sd_bus*) { return sd_bus_reply_method_errorf(call, SD_BUS_ERROR_FAILED, "%s", text); });
}

} // namespace JobsManagerD
