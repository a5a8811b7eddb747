#pragma once

/// Marks what the library offers; everything else is hidden.
#define LIBJOBSDAEMON_EXPORT __attribute__((visibility("default")))
/// Takes an inner class out of what its outer one offers.
#define LIBJOBSDAEMON_HIDDEN __attribute__((visibility("hidden")))
