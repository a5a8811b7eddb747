#pragma once

#include "simulator/SimulatedUnit.h"

namespace Simulator {

/// Drives a simulated unit by lines of text, of which the last argument may hold blanks:
///
///     insert ID FOLDER            a card appears and is mounted
///     mount ID, unmount ID, remove ID
///     readonly ID on|off
///     primary ID
///     video PROPERTY VALUE        a number for a state, else a file name
///     setting SECTION KEY VALUE   true, false, a number, or a text, which may stand in double quotes
///     synced PATH, jobfile-synced PATH
///     scans                       the scans that the file repair service was asked for
///     quit
class Console {
public:
    explicit Console(SimulatedUnit& unit) : _unit(unit) {}

    /// Says what became of the line: "ok" or what was asked for, or "error: " and what was wrong with it.
    std::string Execute(const std::string& line);

    /// True once "quit" was executed.
    bool HasQuit() const { return _hasQuit; }

private:
    SimulatedUnit& _unit;
    bool _hasQuit = false;
};

} // namespace Simulator
