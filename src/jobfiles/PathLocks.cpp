#include "jobfiles/PathLocks.h"

namespace JobsManagerD {

PathLocks::Held::Held(PathLocks& locks, const std::string& path)
    : _locks(locks), _entry(locks._Join(path)), _lock(_entry.second.mutex) {}

PathLocks::Held::~Held() {
    _lock.unlock();
    _locks._Leave(_entry);
}

size_t PathLocks::Size() const {
    const Locks::LockGuard lock(_mutex);
    return _entries.size();
}

PathLocks::Entries::value_type& PathLocks::_Join(const std::string& path) {
    const Locks::LockGuard lock(_mutex);
    Entries::value_type& entry = *_entries.try_emplace(path).first;
    ++entry.second.users;
    return entry;
}

void PathLocks::_Leave(const Entries::value_type& entry) {
    const Locks::LockGuard lock(_mutex);
    const auto found = _entries.find(entry.first);
    if (--found->second.users == 0)
        _entries.erase(found);
}

} // namespace JobsManagerD
