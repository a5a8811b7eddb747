#include "fsutil/FolderReader.h"

#include "fsutil/SystemCalls.h"

#include <cerrno>
#include <fcntl.h>

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

FolderReader::FolderReader(const std::string& path) : _folder(OpenWithoutWaiting(path, O_RDONLY | O_DIRECTORY)) {
    if (!_folder)
        throw fs::filesystem_error("directory iterator cannot open directory", path, LastError());
}

const FolderEntry* FolderReader::Next() {
    while (_next < _end || _List()) {
        const auto* const listed = reinterpret_cast<const dirent64*>(_listed.data() + _next);
        _next += listed->d_reclen;
        _entry.name = listed->d_name;
        _entry.type = TypeOf(*listed);
        if (_entry.name != "." && _entry.name != "..")
            return &_entry;
    }
    return nullptr;
}

bool FolderReader::_List() {
    const ssize_t length = systemCalls.list(_folder.Get(), _listed.data(), _listed.size());
    if (length < 0)
        throw fs::filesystem_error("directory iterator cannot advance", LastError());
    _next = 0;
    _end = static_cast<size_t>(length);
    return length > 0;
}

} // namespace JobsManagerD
