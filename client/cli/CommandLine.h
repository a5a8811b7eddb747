#pragma once

#include "Command.h"

#include <CLI/CLI.hpp>

namespace TarnJobs {

/// The command line that the table of commands describes.
class CommandLine {
public:
    CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /// False when help was asked for and printed. Throws WrongArguments.
    bool Parse(int argc, char** argv);

    /// The command that was named; null when one of the program's own texts was asked for.
    const Command* Chosen() const;
    const Given& Arguments() const { return _given; }

private:
    void _Add(CLI::App& app, const Argument& argument);

    CLI::App _app;
    Given _given;
    std::map<const CLI::App*, const Command*> _commands;
};

} // namespace TarnJobs
