#include "ProgressBar.h"

#include "Terminal.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string_view>
#include <unistd.h>

namespace TarnJobs {
namespace {

constexpr std::string_view clearLine = "\r\x1b[K";
constexpr int endingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};
constexpr size_t widestBar = 40;
constexpr size_t narrowestBar = 10;

/// Nothing but system calls is safe here. The signal is taken again, by its own default, when this returns.
void LeaveCleanLine(int number) {
    if (write(STDERR_FILENO, clearLine.data(), clearLine.size()) < 0)
        _exit(128 + number);
    raise(number);
}

std::string Duration(double seconds) {
    const auto whole = static_cast<int64_t>(seconds + 0.5);
    if (whole < 60)
        return std::to_string(whole) + " s";
    if (whole < 3600)
        return std::to_string(whole / 60) + " min " + std::to_string(whole % 60) + " s";
    return std::to_string(whole / 3600) + " h " + std::to_string(whole / 60 % 60) + " min";
}

/// One digit behind the point.
std::string Short(double number) {
    const auto tenths = static_cast<int64_t>(number * 10 + 0.5);
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

} // namespace

ProgressBar::ProgressBar(bool isJson) : _isShown(!isJson && Terminal::IsDrawnOn(STDERR_FILENO)) {
    if (!_isShown)
        return;
    struct sigaction leaving {};
    leaving.sa_handler = LeaveCleanLine;
    leaving.sa_flags = static_cast<int>(SA_RESETHAND);
    for (size_t at = 0; at < std::size(endingSignals); ++at)
        sigaction(endingSignals[at], &leaving, &_before[at]);
}

ProgressBar::~ProgressBar() {
    if (!_isShown)
        return;
    _Clear();
    for (size_t at = 0; at < std::size(endingSignals); ++at)
        sigaction(endingSignals[at], &_before[at], nullptr);
}

void ProgressBar::Draw(int32_t percent, int32_t done, const std::string& text) {
    _percent = percent;
    _done = done;
    _text = text;
    Redraw();
}

void ProgressBar::Draw(const std::string& text) { Draw(-1, 0, text); }

void ProgressBar::Note(const std::string& note) {
    _note = note;
    Redraw();
}

void ProgressBar::Redraw() {
    if (!_isShown)
        return;
    std::string line = _text + _Rate() + (_note.empty() ? "" : ", " + _note);
    // A line that reaches the last column would begin the next one.
    const size_t width = Terminal::Width(STDERR_FILENO) - 1;
    const size_t taken = Terminal::WidthOf(line) + 4;
    const size_t room = std::min(widestBar, width > taken ? width - taken : 0);
    if (_percent >= 0 && room >= narrowestBar) {
        const size_t full = static_cast<size_t>(std::min(_percent, 100)) * room / 100;
        line = "[" + std::string(full, '#') + std::string(room - full, '-') + "]  " + line;
    }
    _Clear();
    std::fputs(Terminal::Fitting(line, width).c_str(), stderr);
    std::fflush(stderr);
}

void ProgressBar::Say(const std::string& line) {
    _Clear();
    std::fputs((line + "\n").c_str(), stderr);
    if (!_text.empty())
        Redraw();
}

std::string ProgressBar::_Rate() const {
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - _start).count();
    if (seconds < 1)
        return "";
    if (_percent <= 0 || _percent >= 100)
        return ", " + Duration(seconds);
    const double rate = _done / seconds;
    const std::string told = rate >= 1 ? Short(rate) + " jobs/s" : Short(rate * 60) + " jobs/min";
    return ", " + told + ", " + Duration(seconds * (100 - _percent) / _percent) + " left";
}

void ProgressBar::_Clear() const {
    if (_isShown)
        std::fputs(clearLine.data(), stderr);
}

} // namespace TarnJobs
