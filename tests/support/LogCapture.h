#pragma once

#include <string>
#include <vector>

namespace Testing {

struct LogLine {
    int priority; ///< as syslog takes it: 3 error, 4 warning, 6 info, 7 debug
    std::string text;
    bool operator==(const LogLine&) const = default;
};

/// What this process writes to syslog, which goes nowhere else. Any thread may log and ask.
class LogCapture {
public:
    /// All lines since the start or the last Take(), in order.
    static std::vector<LogLine> Lines();
    /// The same, and forgets them.
    static std::vector<LogLine> Take();
    /// How many of the lines contain the text.
    static size_t Count(const std::string& text);
    /// Waits until `count` lines contain the text. False when the deadline passes first.
    [[nodiscard]] static bool WaitFor(const std::string& text, size_t count = 1);
};

} // namespace Testing
