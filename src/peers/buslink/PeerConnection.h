#pragma once

#include "peers/buslink/Handles.h"

namespace Buslink {

/// The calling thread's own connection to the user bus, for blocking calls to peers: so any thread may call, and none
/// waits for another. It is kept from call to call, since opening one costs more than the call, and closed when the
/// thread ends.
class PeerConnection {
public:
    /// Opens the thread's connection when there is none, or when the bus has closed it.
    PeerConnection();

    /// Negative errno when there is no connection.
    int Result() const { return _result; }
    sd_bus* Get() const { return _own.get(); }

    /// Passes the result of a call on. After one that failed the connection is given up, and with it the reply that may
    /// still come.
    static int Checked(int result);

private:
    static thread_local Connection _own;
    int _result = 0;
};

} // namespace Buslink
