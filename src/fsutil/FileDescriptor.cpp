#include "fsutil/FileDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace JobsManagerD {

bool FileDescriptor::Close() {
    const int descriptor = std::exchange(_descriptor, -1);
    return descriptor < 0 || close(descriptor) == 0;
}

int OpenWithoutWaiting(const std::string& path, int flags, unsigned mode) {
    return open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC, mode);
}

bool ReadRegularFile(const std::string& path, std::string& contents) {
    const FileDescriptor file(OpenWithoutWaiting(path, O_RDONLY));
    struct stat64 status {};
    if (!file || fstat64(file.Get(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size > longestFile)
        return false;

    // One byte more than the size: a file that did not grow meanwhile is read in one go, and its end shows in that.
    const size_t size = static_cast<size_t>(status.st_size);
    contents.resize(size + 1);
    size_t used = 0;
    while (true) {
        const size_t asked = contents.size() - used;
        const ssize_t got = read(file.Get(), contents.data() + used, asked);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return false;
        used += static_cast<size_t>(got);
        if (got == 0 || (used >= size && static_cast<size_t>(got) < asked))
            break;
        if (used == contents.size())
            contents.resize(contents.size() * 2);
    }
    contents.resize(used);
    return true;
}

bool WriteAll(int descriptor, const std::string& contents) {
    size_t written = 0;
    while (written < contents.size()) {
        const ssize_t put = write(descriptor, contents.data() + written, contents.size() - written);
        if (put < 0 && errno == EINTR)
            continue;
        if (put < 0)
            return false;
        written += static_cast<size_t>(put);
    }
    return true;
}

} // namespace JobsManagerD
