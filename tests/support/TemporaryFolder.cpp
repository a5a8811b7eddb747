#include "support/TemporaryFolder.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace fs = std::filesystem;

namespace Testing {
namespace {

fs::path MakeUniqueFolder() {
    std::string path = fs::temp_directory_path() / "tarn-test-XXXXXX";
    if (!mkdtemp(path.data()))
        throw std::system_error(errno, std::generic_category(), "mkdtemp " + path);
    return path;
}

} // namespace

TemporaryFolder::TemporaryFolder() : _path(MakeUniqueFolder()) {}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(_path, ignored);
}

std::string TemporaryFolder::MakeFolder(const fs::path& relative) const {
    fs::create_directories(_path / relative);
    return _path / relative;
}

std::string TemporaryFolder::Write(const fs::path& relative, std::string_view text) const {
    const fs::path path = _path / relative;
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << text << std::flush;
    if (!file)
        throw std::runtime_error("cannot write " + path.string());
    return path;
}

std::string TemporaryFolder::Read(const fs::path& relative) const {
    std::ifstream file(_path / relative, std::ios::binary);
    if (!file)
        throw std::runtime_error("cannot read " + (_path / relative).string());
    return {std::istreambuf_iterator<char>(file), {}};
}

bool TemporaryFolder::Exists(const fs::path& relative) const {
    return fs::symlink_status(_path / relative).type() != fs::file_type::not_found;
}

std::vector<std::string> TemporaryFolder::List(const fs::path& relative) const {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(_path / relative))
        names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace Testing
