#pragma once

/// Marks what the library offers; everything else is hidden.
#define LIBJOBSDAEMON_EXPORT __attribute__((visibility("default")))
/// Takes a member out of what its class offers.
#define LIBJOBSDAEMON_HIDDEN __attribute__((visibility("hidden")))
