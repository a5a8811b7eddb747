#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

// What the fuzz targets stand on. A target reads its input as a stranger's, calls what the service would call, and ends
// the process when a promise does not hold. Log lines are formatted, so that their arguments are looked at, and
// dropped.

namespace Fuzz {

/// Ends the process, with a line, unless the promise holds: libFuzzer keeps the input.
void Require(bool holds, const char* promise);

/// A folder below TMPDIR, gone with the process unless that crashes.
class TemporaryFolder {
public:
    TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    /// Writes a file anew, with the folders above it. Returns its full path.
    std::string Write(const std::string& name, std::string_view contents) const;
    std::string Read(const std::string& name) const;
    /// Number of files and folders, at any depth.
    size_t Count() const;
    /// Removes what is in the folder.
    void Clear() const;
    std::string operator/(const std::string& name) const { return _path / name; }

private:
    std::filesystem::path _path;
};

} // namespace Fuzz
