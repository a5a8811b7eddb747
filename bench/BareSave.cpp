#include "bench/BareSave.h"

#include "fsutil/FileDescriptor.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace Bench {
namespace {

void Require(bool isDone) {
    if (!isDone)
        throw std::system_error(errno, std::generic_category(), "bare save");
}

int OpenForWriting(const std::string& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    Require(file >= 0);
    return file;
}

} // namespace

void BareSave(const std::string& path, const std::string& contents) {
    {
        char buffer[65536];
        const JobsManagerD::FileDescriptor from(open(path.c_str(), O_RDONLY | O_CLOEXEC));
        const JobsManagerD::FileDescriptor to(OpenForWriting(path + ".bak"));
        for (ssize_t length; (length = read(from.Get(), buffer, sizeof buffer)) > 0;)
            Require(write(to.Get(), buffer, static_cast<size_t>(length)) == length);
        Require(fsync(to.Get()) == 0);
    }
    const JobsManagerD::FileDescriptor file(OpenForWriting(path));
    Require(write(file.Get(), contents.data(), contents.size()) == static_cast<ssize_t>(contents.size()));
    Require(fsync(file.Get()) == 0);
}

} // namespace Bench
