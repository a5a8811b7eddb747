#pragma once

#include "peers/buslink/DbusServer.h"

namespace JobsManagerD {

/// Adds the 77 entries of the manager's interface to the server, which must be a `JobsManagerDaemon`.
void AddManagerInterface(Buslink::DbusServer& server);

} // namespace JobsManagerD
