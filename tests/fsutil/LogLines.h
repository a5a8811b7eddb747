#pragma once

#include "support/LogCapture.h"

#include <string>
#include <syslog.h>
#include <vector>

namespace Testing {

using Lines = std::vector<std::string>;

/// The log of one test: what earlier ones have logged is forgotten.
class TestLog {
public:
    TestLog() { LogCapture::Take(); }

    /// All lines since the last taking.
    std::vector<LogLine> Take() const { return LogCapture::Take(); }

    /// The texts of those at error level; the others are forgotten too.
    Lines TakeErrors() const {
        Lines texts;
        for (const LogLine& line : LogCapture::Take())
            if (line.priority == LOG_ERR)
                texts.push_back(line.text);
        return texts;
    }
};

} // namespace Testing
