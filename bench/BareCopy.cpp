#include "bench/BareCopy.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace Bench {
namespace {

int Require(int result) {
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), "bare copy");
    return result;
}

void CopyFile(int from, int to, const char* name) {
    const int source = Require(openat(from, name, O_RDONLY | O_CLOEXEC));
    const int target = Require(openat(to, name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    while (Require(static_cast<int>(copy_file_range(source, nullptr, target, nullptr, 1 << 30, 0))) > 0) {
    }
    close(source);
    close(target);
}

/// Both descriptors are closed at the end.
void CopyFolder(int from, int to) {
    DIR* const listing = fdopendir(from);
    while (const dirent64* const entry = readdir64(listing)) {
        const std::string_view name = entry->d_name;
        if (name == "." || name == "..")
            continue;
        if (entry->d_type == DT_REG) {
            CopyFile(from, to, entry->d_name);
            continue;
        }
        Require(mkdirat(to, entry->d_name, 0755));
        CopyFolder(Require(openat(from, entry->d_name, O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
                   Require(openat(to, entry->d_name, O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
    }
    closedir(listing);
    close(to);
}

} // namespace

void BareCopy(const std::string& from, const std::string& to) {
    CopyFolder(Require(open(from.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
               Require(open(to.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
}

} // namespace Bench
