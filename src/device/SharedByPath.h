#pragma once

#include "codes/Mutex.h"

#include <map>
#include <memory>
#include <string>

namespace JobsManagerD {

/// The one `T` of that path, made from it when nobody holds it: what several device objects of one card have in common.
/// Safe on any thread.
template <typename T>
std::shared_ptr<T> SharedByPath(const std::string& path) {
    static Locks::Mutex mutex;
    static std::map<std::string, std::weak_ptr<T>> known;
    const Locks::LockGuard lock(mutex);
    std::erase_if(known, [](const auto& entry) { return entry.second.expired(); });
    std::weak_ptr<T>& entry = known[path];
    std::shared_ptr<T> shared = entry.lock();
    if (!shared)
        entry = shared = std::make_shared<T>(path);
    return shared;
}

} // namespace JobsManagerD
