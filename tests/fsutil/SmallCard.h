#pragma once

#include "support/TemporaryFolder.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/mount.h>
#include <unistd.h>
#include <utility>

namespace Testing {

/// A real filesystem of a few hundred kB, empty. Only root can have one.
class SmallCard {
public:
    explicit SmallCard(const std::string& type) : _folder(place.MakeFolder("card")) {
        const std::string image = place / "image";
        const std::string make = "truncate -s 512k " + image + " && mkfs.ext4 -q -O ^has_journal " + image +
                                 " 2>/dev/null && mount -o loop " + image + " " + _folder + " 2>/dev/null";
        _isMounted = type == "tmpfs" ? mount("tmpfs", _folder.c_str(), "tmpfs", 0, "size=256k") == 0
                                     : std::system(make.c_str()) == 0;
    }
    SmallCard(const SmallCard&) = delete;
    SmallCard& operator=(const SmallCard&) = delete;
    ~SmallCard() { Pull(); }

    bool IsMounted() const { return _isMounted; }
    /// Nobody is told. What is open stays in use; the folder is empty.
    void Pull() {
        if (std::exchange(_isMounted, false))
            umount2(_folder.c_str(), MNT_DETACH);
    }
    const std::string& Folder() const { return _folder; }
    std::string Path(const std::string& name) const { return _folder + "/" + name; }

    /// A recording takes all the room that there is.
    void Fill() {
        const int file = open(Path("recording").c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
        for (const size_t step : {size_t{4096}, size_t{1}})
            while (write(file, std::string(step, 'r').data(), step) > 0) {
            }
        fsync(file);
        close(file);
    }
    /// The recording loses its end.
    void Free(uintmax_t bytes) {
        const uintmax_t size = std::filesystem::file_size(Path("recording"));
        std::filesystem::resize_file(Path("recording"), size > bytes ? size - bytes : 0);
    }

private:
    TemporaryFolder place;
    const std::string _folder;
    bool _isMounted = false;
};

} // namespace Testing
