#include "peers/buslink/PeerConnection.h"

#include <cstdint>
#include <poll.h>

namespace Buslink {

thread_local Connection PeerConnection::_own;
thread_local bool PeerConnection::_hasGreeting = false;

bool PeerConnection::_IsOpen() { return _own && sd_bus_is_open(_own.get()) > 0; }

int PeerConnection::_Open() {
    _hasGreeting = true;
    return sd_bus_open_user(Out(_own));
}

bool PeerConnection::_HasStrangersMail() {
    if (std::exchange(_hasGreeting, false))
        sd_bus_process(_own.get(), nullptr);
    uint64_t queued = 0;
    if (sd_bus_get_n_queued_read(_own.get(), &queued) < 0 || queued > 0)
        return true;
    // Also ends that of a bus which has hung up.
    pollfd socket{sd_bus_get_fd(_own.get()), POLLIN, 0};
    return poll(&socket, 1, 0) != 0;
}

} // namespace Buslink
