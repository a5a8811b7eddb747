#pragma once

#include "peers/buslink/DbusServer.h"

namespace JobsManagerD {

/// Adds the 77 entries of the manager's interface to the server, which must be a `JobsManagerDaemon` and not have
/// started. The table in the source reads as the interface stands on the wire.
void AddManagerInterface(Buslink::DbusServer& server);

} // namespace JobsManagerD
