#pragma once

#include "codes/Mutex.h"

#include <string>
#include <unordered_map>

namespace JobsManagerD {

/// A lock for each path. Two texts that name one file in different ways have two locks. An entry lives as long as
/// somebody holds or awaits it.
class PathLocks {
    struct Entry {
        Locks::Mutex mutex;
        int users = 0;
    };
    using Entries = std::unordered_map<std::string, Entry>;

public:
    /// Holds the lock of a path. The analysis of locks does not know it: what it guards are files.
    class Held {
    public:
        Held(PathLocks& locks, const std::string& path);
        Held(const Held&) = delete;
        Held& operator=(const Held&) = delete;
        ~Held();

    private:
        PathLocks& _locks;
        Entries::value_type& _entry;
        std::unique_lock<Locks::Mutex> _lock;
    };

    /// How many paths are held or awaited.
    size_t Size() const;

private:
    Entries::value_type& _Join(const std::string& path);
    void _Leave(const Entries::value_type& entry);

    mutable Locks::Mutex _mutex;
    Entries _entries GUARDED_BY(_mutex);
};

} // namespace JobsManagerD
