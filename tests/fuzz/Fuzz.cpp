#include "Fuzz.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace fs = std::filesystem;

namespace Fuzz {

void Require(bool holds, const char* promise) {
    if (holds)
        return;
    std::fprintf(stderr, "Broken promise: %s\n", promise);
    std::abort();
}

TemporaryFolder::TemporaryFolder() {
    std::string name = fs::temp_directory_path() / "tarn-fuzz-XXXXXX";
    if (!mkdtemp(name.data()))
        throw std::runtime_error("no temporary folder");
    _path = name;
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    fs::remove_all(_path, ignored);
}

std::string TemporaryFolder::Write(const std::string& name, std::string_view contents) const {
    const fs::path path = _path / name;
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << contents;
    return path;
}

std::string TemporaryFolder::Read(const std::string& name) const {
    std::ifstream file(_path / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

size_t TemporaryFolder::Count() const {
    return static_cast<size_t>(std::distance(fs::recursive_directory_iterator(_path), {}));
}

void TemporaryFolder::Clear() const {
    for (const fs::directory_entry& entry : fs::directory_iterator(_path))
        fs::remove_all(entry.path());
}

} // namespace Fuzz

extern "C" {

__attribute__((format(printf, 2, 3))) void syslog(int priority, const char* format, ...);

void syslog(int, const char* format, ...) {
    static thread_local std::array<char, 4096> line;
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(line.data(), line.size(), format, arguments);
    va_end(arguments);
}
}
