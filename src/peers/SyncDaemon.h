#pragma once

#include "peers/buslink/DbusListener.h"
#include "peers/buslink/Properties.h"

#include <sigc++/signal.h>

namespace SyncD {

/// The sync service, which copies content between devices on its own. Its signals are raised on the loop's thread and
/// carry a path on a storage device; one without a path is dropped.
class SyncDaemonDbusHandler : public Buslink::DbusListener {
public:
    explicit SyncDaemonDbusHandler(sd_event* event) : DbusListener(event) {}

    /// Starts hearing the service's signals. Negative errno on failure, which is logged.
    int32_t Listen();

    sigc::signal<void, buslink_utils::PropertyMap&> propertiesChanged;
    /// Path of a job's folder that has been brought up to date.
    sigc::signal<void, const std::string&> destinationSynced;
    /// Path of a job's folder, or of its file.
    sigc::signal<void, const std::string&> jobFileSynced;
    /// Nothing listens to it.
    sigc::signal<void, const std::string&> syncDestinationFull;
};

} // namespace SyncD
