#pragma once

#include <unistd.h>

namespace Testing {

/// File permissions mean nothing to root: drops to the unprivileged user until it goes out of scope, if need be.
class OrdinaryUser {
public:
    OrdinaryUser() : _isActive(geteuid() != 0 || seteuid(nobody) == 0) {}
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
    ~OrdinaryUser() { _isRestored = seteuid(getuid()) == 0; }

    explicit operator bool() const { return _isActive; }

private:
    static constexpr uid_t nobody = 65534;
    bool _isActive;
    bool _isRestored = false;
};

} // namespace Testing
