#pragma once

#include "peers/buslink/Handles.h"

#include <map>
#include <string>
#include <vector>

namespace Buslink {

/// A connection to the user bus that an event loop serves. Without it the service would be deaf and not know: its loss
/// is logged as an error, and ends the loop with a negative errno.
///
/// Threads: all on the loop's.
class DbusConnector {
public:
    explicit DbusConnector(sd_event* event) : _event(event) {}
    DbusConnector(const DbusConnector&) = delete;
    DbusConnector& operator=(const DbusConnector&) = delete;

    /// Does nothing when connected. Negative errno on failure.
    int32_t Connect();
    /// Drops the matches too.
    void Disconnect();

protected:
    ~DbusConnector() { Disconnect(); }
    sd_bus* Bus() const { return _bus.get(); }
    /// Whom the connection serves, for the log.
    void NamePeer(const std::string& peer) { _peer = peer; }

private:
    static int _OnLost(sd_bus_message* message, void* userData, sd_bus_error*);

    std::string _peer;
    sd_event* const _event;
    Connection _bus;
};

/// Hears signals of a peer. Handlers run on the loop's thread; an exception out of one ends the process. Only what goes
/// to everybody is heard: a signal that is addressed to this connection may come from anybody, under any name.
class DbusListener : public DbusConnector {
public:
    explicit DbusListener(sd_event* event) : DbusConnector(event) {}

protected:
    ~DbusListener() = default;

    /// One signal of the table. An empty path means any.
    struct SignalEntry {
        std::string service;
        std::string path;
        std::string interface;
        std::string member;
        sd_bus_message_handler_t handler;
    };
    std::map<std::string, SignalEntry> signals;

    /// Adds a match for the table's entry under each key, with this listener as user data given on. Negative errno on
    /// failure.
    int32_t ListenSignals(const std::vector<std::string>& keys, void* userData);
    /// The same for one match that stands in no table.
    int32_t ListenSignal(const std::string& service, const std::string& path, const std::string& interface,
                         const std::string& member, sd_bus_message_handler_t handler, void* userData);
};

} // namespace Buslink
