#pragma once

#include <chrono>
#include <csignal>
#include <cstdint>
#include <string>

namespace TarnJobs {

/// One line on the terminal that is drawn over; beside it, lines that stay. Without a terminal that can be drawn on, or
/// beside JSON, there are only the latter. However the program ends, the line is left empty. One at a time.
class ProgressBar {
public:
    explicit ProgressBar(bool isJson);
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar();

    /// Work of which so much is over, with so many jobs done; the rate and the time left are worked out.
    void Draw(int32_t percent, int32_t done, const std::string& text);
    /// Work whose end is not known.
    void Draw(const std::string& text);
    /// What stands behind all that is drawn from now on.
    void Note(const std::string& note);
    /// The same again, for the time that has passed.
    void Redraw();
    /// A line on standard error that stays.
    void Say(const std::string& line);

private:
    std::string _Rate() const;
    void _Clear() const;

    const bool _isShown;
    const std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
    int32_t _percent = -1; ///< negative when the end is not known
    int32_t _done = 0;
    std::string _text;
    std::string _note;
    struct sigaction _before[4]{};
};

} // namespace TarnJobs
