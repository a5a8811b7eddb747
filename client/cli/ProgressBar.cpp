#include "ProgressBar.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace TarnJobs {
namespace {

constexpr int32_t width = 40;
constexpr const char* clearLine = "\r\x1b[K";

} // namespace

ProgressBar::ProgressBar(bool isJson) : _isShown(!isJson && isatty(STDERR_FILENO) != 0) {}

ProgressBar::~ProgressBar() {
    if (_isShown)
        std::fputs(clearLine, stderr);
}

void ProgressBar::Draw(int32_t percent, const std::string& text) {
    const int32_t done = std::clamp(percent, 0, 100) * width / 100;
    const std::string bar(static_cast<size_t>(done), '#');
    const std::string rest(static_cast<size_t>(width - done), '-');
    Draw("[" + bar + rest + "] " + std::to_string(percent) + " %  " + text);
}

void ProgressBar::Draw(const std::string& text) {
    if (_isShown)
        std::fprintf(stderr, "%s%s", clearLine, text.c_str());
}

} // namespace TarnJobs
