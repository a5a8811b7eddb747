#pragma once

#include "fsutil/Paths.h"
#include "fsutil/SystemCalls.h"

#include <cstdint>
#include <linux/magic.h>
#include <map>
#include <string>
#include <sys/stat.h>
#include <sys/statfs.h>

namespace Testing {

/// Makes every file look as if it lay on a FAT card, with an attribute word per file, until it goes out of scope.
class FakeFatCard {
public:
    FakeFatCard() {
        _card = this;
        JobsManagerD::systemCalls.getFatAttributes = [](int descriptor, uint32_t* attributes) {
            *attributes = _card->_attributes[Inode(descriptor)];
            return _card->_refusesToRead ? -1 : 0;
        };
        JobsManagerD::systemCalls.setFatAttributes = [](int descriptor, const uint32_t* attributes) {
            if (_card->_refusesToWrite)
                return -1;
            _card->_attributes[Inode(descriptor)] = *attributes;
            return 0;
        };
        JobsManagerD::systemCalls.statFilesystem = [](const char*, struct statfs64* result) {
            ++_card->_questions;
            result->f_type = MSDOS_SUPER_MAGIC;
            return 0;
        };
    }
    FakeFatCard(const FakeFatCard&) = delete;
    FakeFatCard& operator=(const FakeFatCard&) = delete;
    ~FakeFatCard() {
        JobsManagerD::systemCalls = JobsManagerD::kernelCalls;
        JobsManagerD::hideJobFiles = false;
    }

    /// From now on reading, or writing, the attributes of a file fails.
    void RefuseToRead() { _refusesToRead = true; }
    void RefuseToWrite() { _refusesToWrite = true; }
    uint32_t& Attributes(const std::string& path) {
        struct stat status {};
        return _attributes[stat(path.c_str(), &status) == 0 ? status.st_ino : 0];
    }
    /// How often the file system of a path was asked for.
    int Questions() const { return _questions; }

private:
    static ino_t Inode(int descriptor) {
        struct stat status {};
        return fstat(descriptor, &status) == 0 ? status.st_ino : 0;
    }

    /// The one that the plain functions of the seam work on.
    static inline FakeFatCard* _card = nullptr;

    std::map<ino_t, uint32_t> _attributes;
    int _questions = 0;
    bool _refusesToRead = false;
    bool _refusesToWrite = false;
};

} // namespace Testing
