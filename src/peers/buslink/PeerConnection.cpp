#include "peers/buslink/PeerConnection.h"

namespace Buslink {

thread_local Connection PeerConnection::_own;

PeerConnection::PeerConnection() {
    if (_own && sd_bus_is_open(_own.get()) > 0)
        return;
    _result = sd_bus_open_user(Out(_own));
}

int PeerConnection::Checked(int result) {
    if (result < 0)
        _own.reset();
    return result;
}

} // namespace Buslink
