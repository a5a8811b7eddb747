#include "fsutil/Paths.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <syslog.h>
#include <vector>

namespace fs = std::filesystem;

namespace JobsManagerD {
namespace {

std::vector<std::string> StemsIn(const std::string& folder) {
    std::vector<std::string> stems;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder))
        stems.push_back(entry.path().stem().string());
    return stems;
}

} // namespace

std::atomic<bool> hideJobFiles{false};

std::string JobFileName() { return hideJobFiles ? ".job.json" : "job.json"; }

std::string BackupPath(const std::string& path) { return path + ".bak"; }

std::string GetPathExtension(const std::string& path) {
    const size_t nameStart = path.rfind('/') + 1;
    const size_t dot = path.rfind('.');
    const bool isWithoutExtension =
        dot == std::string::npos || dot <= nameStart || path.compare(nameStart, 3, "..") == 0;
    return isWithoutExtension ? std::string() : path.substr(dot + 1);
}

std::string PathIn(const std::string& folder, const std::string& name) {
    return folder.ends_with('/') ? folder + name : folder + "/" + name;
}

std::string FileName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::string DirectoryPart(const std::string& path) {
    if (path == "." || path == "..")
        return path;
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

bool LiesUnder(const std::string& folder, const std::string& path) {
    // The kernel would see the text only up to the zero byte, and that part may name anything.
    if (path.find('\0') != std::string::npos)
        return false;
    const fs::path root = fs::path(folder + "/").lexically_normal();
    const std::string normal = fs::path(path).lexically_normal().string();
    return normal.size() > root.native().size() && normal.starts_with(root.native());
}

std::string GetUniqueFileStem(const std::string& parentPath, const std::string& candidateStem, int limit) {
    try {
        const std::vector<std::string> stems = StemsIn(parentPath);
        const auto isTaken = [&stems](std::string_view trial) {
            return std::ranges::any_of(stems, [trial](const std::string& stem) { return stem.starts_with(trial); });
        };
        if (!isTaken(candidateStem))
            return candidateStem;
        for (int n = 1; n <= limit; ++n) {
            std::string trial = candidateStem + "_" + std::to_string(n);
            if (!isTaken(trial))
                return trial;
        }
    } catch (const std::exception& exception) {
        syslog(LOG_INFO, "%s - directory_iterator threw an exception in %s: %s", "GetUniqueFileStem",
               parentPath.c_str(), exception.what());
        return {};
    }
    syslog(LOG_ERR, "GetUniqueFileStem - Unable to create unique Stem under parentPath %s from candidateStem %s",
           parentPath.c_str(), candidateStem.c_str());
    return {};
}

} // namespace JobsManagerD
