#include "fsutil/FileDescriptor.h"

#include "fsutil/SystemCalls.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>
#include <utility>

namespace JobsManagerD {

bool FileDescriptor::Close() {
    const int descriptor = std::exchange(_descriptor, -1);
    return descriptor < 0 || close(descriptor) == 0;
}

int OpenWithoutWaiting(const std::string& path, int flags, unsigned mode) {
    return systemCalls.openAt(AT_FDCWD, path.c_str(), flags | O_NONBLOCK | O_CLOEXEC, mode);
}

FileReading ReadFile(const std::string& path, std::string& contents, size_t longest) {
    const FileDescriptor file(OpenWithoutWaiting(path, O_RDONLY | O_NOFOLLOW));
    struct stat64 status {};
    if (!file || fstat64(file.Get(), &status) != 0 || !S_ISREG(status.st_mode))
        return FileReading::unopenable;
    if (static_cast<uint64_t>(status.st_size) > longest)
        return FileReading::tooLong;

    // One byte more than the size: a file that did not grow meanwhile is read in one go, and its end shows in that.
    const size_t size = static_cast<size_t>(status.st_size);
    contents.resize(size + 1);
    size_t used = 0;
    while (true) {
        const size_t asked = contents.size() - used;
        const ssize_t got = systemCalls.read(file.Get(), contents.data() + used, asked);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return FileReading::unreadable;
        used += static_cast<size_t>(got);
        if (used > longest)
            return FileReading::tooLong;
        if (got == 0 || (used >= size && static_cast<size_t>(got) < asked))
            break;
        if (used == contents.size())
            contents.resize(contents.size() * 2);
    }
    contents.resize(used);
    return FileReading::whole;
}

bool ReadRegularFile(const std::string& path, std::string& contents) {
    const FileReading reading = ReadFile(path, contents);
    if (reading == FileReading::tooLong)
        syslog(LOG_ERR, "ReadRegularFile - %s is longer than %zu bytes", path.c_str(), longestFile);
    return reading == FileReading::whole;
}

bool WriteAll(int descriptor, const std::string& contents) {
    size_t written = 0;
    while (written < contents.size()) {
        const ssize_t put = systemCalls.write(descriptor, contents.data() + written, contents.size() - written);
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return false;
        written += static_cast<size_t>(put);
    }
    return true;
}

} // namespace JobsManagerD
