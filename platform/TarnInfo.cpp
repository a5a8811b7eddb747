#include "TarnInfo.h"

#include <fstream>
#include <initializer_list>
#include <sys/utsname.h>

namespace {

/// Blanks at the ends go, and the NUL byte that closes a device tree property.
std::string Trimmed(const std::string& text) {
    static const std::string ignored(" \t\r\n\"\0", 6);
    const size_t first = text.find_first_not_of(ignored);
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(ignored) - first + 1);
}

std::string FirstLine(const char* path) {
    std::string line;
    std::ifstream file(path);
    std::getline(file, line);
    return Trimmed(line);
}

/// The value of one key of os-release, whose values may stand in quotes.
std::string OsRelease(const std::string& key) {
    std::ifstream file("/etc/os-release");
    for (std::string line; std::getline(file, line);)
        if (line.starts_with(key + "="))
            return Trimmed(line.substr(key.size() + 1));
    return "";
}

std::string FirstKnown(std::initializer_list<std::string> texts) {
    for (const std::string& text : texts)
        if (!text.empty())
            return text;
    return "unknown";
}

utsname Kernel() {
    utsname kernel{};
    uname(&kernel);
    return kernel;
}

} // namespace

std::string TarnInfo::ThisModel::DisplayName() {
    return FirstKnown({FirstLine("/sys/class/dmi/id/product_name"), FirstLine("/proc/device-tree/model"),
                       std::string("Tarn ") + Kernel().machine});
}

std::string TarnInfo::ThisTarn::SerialNumber() {
    return FirstKnown({FirstLine("/etc/machine-id"), FirstLine("/var/lib/dbus/machine-id"), Kernel().nodename});
}

std::string TarnInfo::ThisTarn::FirmwareVersion() {
    return FirstKnown({OsRelease("VERSION_ID"), OsRelease("PRETTY_NAME"), Kernel().release});
}
