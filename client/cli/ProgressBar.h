#pragma once

#include <cstdint>
#include <string>

namespace TarnJobs {

/// One line on the terminal that is drawn over. Without a terminal, or beside JSON, it draws nothing.
class ProgressBar {
public:
    explicit ProgressBar(bool isJson);
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    /// Leaves an empty line.
    ~ProgressBar();

    void Draw(int32_t percent, const std::string& text);
    /// Without a bar, of work whose end is not known.
    void Draw(const std::string& text);

private:
    const bool _isShown;
};

} // namespace TarnJobs
