#pragma once

#include <dirent.h>
#include <filesystem>
#include <memory>
#include <string>

namespace JobsManagerD {

/// An entry of a folder, with what the listing tells of its kind, which saves a system call per entry.
struct FolderEntry {
    std::string name;
    /// `none` where only the entry itself can tell: for a symbolic link, and on file systems that list no kinds.
    std::filesystem::file_type type = std::filesystem::file_type::none;
};

/// Goes through a folder in the file system's order, hidden entries included, "." and ".." left out. Fails as the
/// library's iterator does, which makes a path of every entry and so costs several times as much.
class FolderReader {
public:
    /// Throws std::filesystem::filesystem_error.
    explicit FolderReader(const std::string& path);

    /// Null at the end; else valid until the next call. Throws std::filesystem::filesystem_error.
    const FolderEntry* Next();

private:
    struct CloseFolder {
        void operator()(DIR* folder) const { closedir(folder); }
    };

    std::unique_ptr<DIR, CloseFolder> _folder;
    FolderEntry _entry;
};

} // namespace JobsManagerD
