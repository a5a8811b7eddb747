#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace Testing {

/// A folder of its own for a test, gone with everything in it at the end. Paths are relative to it; what fails throws
/// std::exception.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    const std::filesystem::path& Path() const { return _path; }
    std::filesystem::path operator/(const std::filesystem::path& relative) const { return _path / relative; }

    /// Makes the folder, with those above it, and gives back its full path.
    std::string MakeFolder(const std::filesystem::path& relative) const;
    /// Writes a file anew, with the folders above it, and gives back its full path.
    std::string Write(const std::filesystem::path& relative, std::string_view text) const;
    std::string Read(const std::filesystem::path& relative) const;
    bool Exists(const std::filesystem::path& relative) const;
    /// Names of what lies in the folder, hidden ones too, sorted.
    std::vector<std::string> List(const std::filesystem::path& relative = "") const;

private:
    std::filesystem::path _path;
};

} // namespace Testing
