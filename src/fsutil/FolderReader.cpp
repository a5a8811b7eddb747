#include "fsutil/FolderReader.h"

#include <cerrno>
#include <string_view>

namespace fs = std::filesystem;

namespace JobsManagerD {
namespace {

fs::file_type TypeOf(const dirent64& entry) {
    switch (entry.d_type) {
    case DT_REG:
        return fs::file_type::regular;
    case DT_DIR:
        return fs::file_type::directory;
    case DT_LNK:
    case DT_UNKNOWN:
        return fs::file_type::none;
    default:
        return fs::file_type::unknown;
    }
}

std::error_code LastError() { return {errno, std::generic_category()}; }

} // namespace

FolderReader::FolderReader(const std::string& path) : _folder(opendir(path.c_str())) {
    if (!_folder)
        throw fs::filesystem_error("directory iterator cannot open directory", path, LastError());
}

const FolderEntry* FolderReader::Next() {
    using namespace std::string_view_literals;
    // Only the error number tells a failure from the end.
    errno = 0;
    while (const dirent64* const entry = readdir64(_folder.get())) {
        if (entry->d_name == "."sv || entry->d_name == ".."sv)
            continue;
        _entry.name = entry->d_name;
        _entry.type = TypeOf(*entry);
        return &_entry;
    }
    if (errno != 0)
        throw fs::filesystem_error("directory iterator cannot advance", LastError());
    return nullptr;
}

} // namespace JobsManagerD
