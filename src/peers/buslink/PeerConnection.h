#pragma once

#include "peers/buslink/Handles.h"

#include <utility>

namespace Buslink {

/// The calling thread's own connection to the user bus, for blocking calls to peers: so any thread may call, and none
/// waits for another. It is kept from call to call, since opening one costs more than the call, and closed when the
/// thread ends.
///
/// Nobody reads it between two calls, so that whatever strangers send to it would pile up: a connection that has got
/// anything but the replies to its calls is given up, and so is one whose call failed, with the reply that may still
/// come.
class PeerConnection {
public:
    /// Runs `call(sd_bus*)`, which makes one blocking call, and returns its result: negative errno on failure, also
    /// when there is no connection. A call that finds a kept connection lost is repeated once, on a new one.
    template <typename Call>
    static int With(Call call) {
        const bool isKept = _IsOpen();
        int result = isKept ? 0 : _Open();
        if (result < 0)
            return result;
        result = call(_own.get());
        if (result < 0 && isKept && !_IsOpen()) {
            result = _Open();
            if (result >= 0)
                result = call(_own.get());
        }
        if (result < 0 || _HasStrangersMail())
            _own.reset();
        return result;
    }

private:
    static bool _IsOpen();
    static int _Open();
    static bool _HasStrangersMail();

    static thread_local Connection _own;
    /// The bus's own word that the connection has a name lies before the first reply, unread.
    static thread_local bool _hasGreeting;
};

} // namespace Buslink
