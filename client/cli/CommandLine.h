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

    /// Throws WrongArguments.
    void Parse(int argc, char** argv);

    /// The command that was named; null when there is none.
    const Command* Chosen() const;
    const Given& Arguments() const { return _given; }

private:
    void _Add(CLI::App& app, const Argument& argument);
    void _Take(const Argument& argument, const std::string& value);

    CLI::App _app;
    Given _given;
    std::map<const CLI::App*, const Command*> _commands;
};

/// The option of this name, of the command, which may be null, or of the program; null when there is none.
const Argument* FindOption(const Command* command, const std::string& name);
/// The first word that is no option and no option's value; null when there is none.
const std::string* FirstWord(const std::vector<std::string>& arguments);

} // namespace TarnJobs
