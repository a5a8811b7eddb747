#pragma once

#include "fsutil/FileDescriptor.h"

#include <array>
#include <dirent.h>
#include <filesystem>
#include <string>

namespace JobsManagerD {

/// An entry of a folder, with what the listing tells of its kind, which saves a system call per entry.
struct FolderEntry {
    std::string name;
    /// `none` where only the entry itself can tell: for a symbolic link, and on file systems that list no kinds.
    std::filesystem::file_type type = std::filesystem::file_type::none;
};

/// Goes through a folder in the file system's order, hidden entries included, "." and ".." left out. Fails as the
/// library's iterator does, which costs several times as much: it makes a path of every entry, and room for many.
class FolderReader {
public:
    /// Throws std::filesystem::filesystem_error.
    explicit FolderReader(const std::string& path);

    /// Null at the end; else valid until the next call. Throws std::filesystem::filesystem_error.
    const FolderEntry* Next();

private:
    /// False at the end.
    bool _List();

    FileDescriptor _folder;
    FolderEntry _entry;
    /// Entries as the kernel gives them; `_next` is the first one that has not been handed out.
    alignas(dirent64) std::array<char, 4096> _listed;
    size_t _next = 0;
    size_t _end = 0;
};

} // namespace JobsManagerD
