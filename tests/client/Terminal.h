#pragma once

#include <string>
#include <sys/types.h>

namespace Testing {

/// A process that works on a terminal of its own, with all three standard descriptors.
class OnTerminal {
public:
    /// Runs a line of bash.
    explicit OnTerminal(const std::string& line, unsigned short columns = 200);
    OnTerminal(const OnTerminal&) = delete;
    OnTerminal& operator=(const OnTerminal&) = delete;
    ~OnTerminal();

    void Type(const std::string& text) const;
    /// Reads until the text has come since the start; false when the process ends without it.
    [[nodiscard]] bool WaitFor(const std::string& text);
    /// Reads to the end. Gives the exit code, or the signal that ended the process as a negative number.
    int End();

    /// All bytes that came.
    const std::string& Bytes() const { return _bytes; }
    /// What stands on the terminal after them: lines that were cleared are gone, colours are left out.
    std::string Screen() const;

private:
    bool _Read();

    int _terminal = -1;
    pid_t _process = -1;
    std::string _bytes;
};

} // namespace Testing
