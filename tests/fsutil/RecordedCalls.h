#pragma once

#include "fsutil/SystemCalls.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Testing {

/// Records the calls at the filesystem edge that change something or bring it to the medium, as "write job.json", until
/// it goes out of scope; each of them can fail. One at a time, one thread.
class RecordedCalls {
public:
    RecordedCalls() {
        using JobsManagerD::kernelCalls;
        using JobsManagerD::systemCalls;
        _recorder = this;
        systemCalls.openAt = [](int folder, const char* path, int flags, unsigned mode) {
            const bool truncates = (flags & O_TRUNC) != 0;
            if ((flags & O_CREAT) != 0 && _recorder->Fails(truncates ? "truncate" : "create", path))
                return -1;
            return kernelCalls.openAt(folder, path, flags, mode);
        };
        systemCalls.write = [](int descriptor, const void* from, size_t size) {
            return _recorder->Fails("write", PathOf(descriptor)) ? -1 : kernelCalls.write(descriptor, from, size);
        };
        systemCalls.sync = [](int descriptor) {
            return _recorder->Fails("sync", PathOf(descriptor)) ? -1 : kernelCalls.sync(descriptor);
        };
        systemCalls.syncFilesystem = [](int descriptor) {
            return _recorder->Fails("syncfs", PathOf(descriptor)) ? -1 : kernelCalls.syncFilesystem(descriptor);
        };
        systemCalls.rename = [](const char* from, const char* to) {
            return _recorder->Fails("rename", from) ? -1 : kernelCalls.rename(from, to);
        };
        systemCalls.remove = [](const char* path) {
            return _recorder->Fails("remove", path) ? -1 : kernelCalls.remove(path);
        };
    }
    RecordedCalls(const RecordedCalls&) = delete;
    RecordedCalls& operator=(const RecordedCalls&) = delete;
    ~RecordedCalls() { JobsManagerD::systemCalls = JobsManagerD::kernelCalls; }

    /// Runs before each call, with its line; what it gives, other than 0, is the error with which the call fails.
    std::function<int(const std::string& line)> before = [](const std::string&) { return 0; };
    std::vector<std::string> lines;

private:
    static std::string PathOf(int descriptor) {
        return std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
    }
    bool Fails(const char* call, const std::filesystem::path& path) {
        lines.push_back(call + (" " + path.filename().string()));
        errno = before(lines.back());
        return errno != 0;
    }

    /// The one that the plain functions of the seam work on.
    static inline RecordedCalls* _recorder = nullptr;
};

} // namespace Testing
