#pragma once

#include "fsutil/SystemCalls.h"
#include "support/Deadline.h"

#include <atomic>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <string>
#include <unistd.h>
#include <utility>

namespace Testing {

/// Stands between a running service and the filesystem, so that a test can look at its calls, hold one or have one
/// fail. To be made before the service starts, and to go after it has ended. Any thread.
class WatchedCalls {
public:
    struct Call {
        /// "open", "create", "list", "write", "mkdir", "rename", "remove", "sync" or "syncfs".
        std::string what;
        /// What it is done to, with its full path.
        std::filesystem::path path;
    };
    /// Runs before each call, on its thread. What it gives, other than 0, is the error with which the call fails.
    using Before = std::function<int(const Call&)>;

    /// One call that stops until the test lets it go on. Lets it go when it goes out of scope.
    class Held {
    public:
        Held(Held&&) = default;
        Held& operator=(Held&& other) noexcept {
            LetGo();
            _gate = std::move(other._gate);
            return *this;
        }
        ~Held() { LetGo(); }
        [[nodiscard]] bool WaitUntilReached() const {
            return _gate->reached.get_future().wait_for(deadline) == std::future_status::ready;
        }
        void LetGo() {
            if (_gate && !std::exchange(_gate->isOpen, true))
                _gate->opened.set_value();
        }

    private:
        friend class WatchedCalls;
        struct Gate {
            std::promise<void> reached;
            std::promise<void> opened;
            std::atomic<bool> isTaken{false};
            bool isOpen = false;
        };
        std::shared_ptr<Gate> _gate = std::make_shared<Gate>();
        Held() = default;
    };

    WatchedCalls() {
        using JobsManagerD::kernelCalls;
        using JobsManagerD::systemCalls;
        _watcher = this;
        systemCalls.openAt = [](int folder, const char* path, int flags, unsigned mode) {
            const char* const what = (flags & O_CREAT) != 0 ? "create" : "open";
            return Fails(what, PathOf(folder, path)) ? -1 : kernelCalls.openAt(folder, path, flags, mode);
        };
        systemCalls.list = [](int folder, void* entries, size_t size) {
            return Fails("list", PathOf(folder)) ? -1 : kernelCalls.list(folder, entries, size);
        };
        systemCalls.write = [](int descriptor, const void* from, size_t size) {
            return Fails("write", PathOf(descriptor)) ? -1 : kernelCalls.write(descriptor, from, size);
        };
        systemCalls.makeFolder = [](int folder, const char* path, unsigned mode) {
            return Fails("mkdir", PathOf(folder, path)) ? -1 : kernelCalls.makeFolder(folder, path, mode);
        };
        systemCalls.rename = [](const char* from, const char* to) {
            return Fails("rename", from) ? -1 : kernelCalls.rename(from, to);
        };
        systemCalls.remove = [](const char* path) { return Fails("remove", path) ? -1 : kernelCalls.remove(path); };
        systemCalls.sync = [](int descriptor) {
            return Fails("sync", PathOf(descriptor)) ? -1 : kernelCalls.sync(descriptor);
        };
        systemCalls.syncFilesystem = [](int descriptor) {
            return Fails("syncfs", PathOf(descriptor)) ? -1 : kernelCalls.syncFilesystem(descriptor);
        };
    }
    WatchedCalls(const WatchedCalls&) = delete;
    WatchedCalls& operator=(const WatchedCalls&) = delete;
    ~WatchedCalls() { JobsManagerD::systemCalls = JobsManagerD::kernelCalls; }

    /// In the place of the one before; none when empty.
    void Watch(Before before) {
        const std::lock_guard lock(_mutex);
        _before = before ? std::make_shared<Before>(std::move(before)) : nullptr;
    }
    /// The next call of that kind there, and only that one. In the place of any watching; `beside` sees each call.
    Held Hold(
        const std::string& what, const std::filesystem::path& path,
        std::function<void(const Call&)> beside = [](const Call&) {}) {
        Held held;
        Watch([gate = held._gate, opened = held._gate->opened.get_future().share(), what, path,
               beside = std::move(beside)](const Call& call) {
            beside(call);
            if (call.what == what && call.path == path && !gate->isTaken.exchange(true)) {
                gate->reached.set_value();
                opened.wait();
            }
            return 0;
        });
        return held;
    }

private:
    static std::filesystem::path PathOf(int descriptor) {
        std::error_code ignored;
        return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), ignored);
    }
    static std::filesystem::path PathOf(int folder, const char* path) {
        return folder == AT_FDCWD ? std::filesystem::path(path) : PathOf(folder) / path;
    }
    static bool Fails(const char* what, const std::filesystem::path& path) {
        std::shared_ptr<Before> before;
        {
            const std::lock_guard lock(_watcher->_mutex);
            before = _watcher->_before;
        }
        const int error = before ? (*before)({what, path}) : 0;
        errno = error;
        return error != 0;
    }

    /// The one that the plain functions of the seam work on.
    static inline WatchedCalls* _watcher = nullptr;

    std::mutex _mutex; ///< guards _before
    std::shared_ptr<Before> _before;
};

/// The first base of a fixture whose other base starts the service.
struct WithWatchedCalls {
    WatchedCalls calls;
};

} // namespace Testing
