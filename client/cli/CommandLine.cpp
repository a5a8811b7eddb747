#include "CommandLine.h"

#include "ExitCodes.h"
#include "Texts.h"

namespace TarnJobs {
namespace {

/// Asked for by the scripts of the shells and by the build; not for people.
const std::vector<Argument>& HiddenOptions() {
    static const std::vector<Argument> options{
        {Argument::Kind::option, "--completion", "SHELL", "", Argument::Offer::nothing, {"bash", "zsh"}},
        {Argument::Kind::option, "--values", "WHAT", "", Argument::Offer::nothing, {"devices", "jobs"}},
        {Argument::Kind::flag, "--man", "", ""},
    };
    return options;
}

} // namespace

CommandLine::CommandLine() : _app(programSummary, programName) {
    _app.set_version_flag("--version", std::string(programName) + " " + TARN_VERSION);
    for (const Argument& option : ProgramOptions())
        _Add(_app, option);
    for (const Argument& option : HiddenOptions())
        _Add(_app, option);
    for (const Command& command : Commands()) {
        CLI::App* const sub = _app.add_subcommand(command.name, command.help);
        sub->group(command.group)->fallthrough();
        for (const Argument& argument : command.arguments)
            _Add(*sub, argument);
        _commands[sub] = &command;
    }
    _app.require_subcommand(0, 1);
    _app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    _app.footer("Exit codes, and what else there is to know: man tarn-jobs.");
}

void CommandLine::_Add(CLI::App& app, const Argument& argument) {
    const std::string key = argument.Key();
    if (argument.kind == Argument::Kind::flag) {
        app.add_flag_function(
            argument.names, [this, key](int64_t) { _given.Add(key, "true"); }, argument.help);
    } else {
        const auto take = [this, key](const CLI::results_t& values) {
            for (const std::string& value : values)
                _given.Add(key, value);
            return true;
        };
        CLI::Option* const option = app.add_option(argument.names, take, argument.help);
        option->type_name(argument.IsOption() ? argument.value : "");
        option->required(argument.kind == Argument::Kind::word);
        if (argument.kind == Argument::Kind::words)
            option->expected(1, CLI::detail::expected_max_vector_size)->allow_extra_args();
        else
            option->expected(static_cast<int>(argument.count));
        if (!argument.choices.empty())
            option->check(CLI::IsMember(argument.choices));
        if (argument.range)
            option->check(CLI::Range(argument.range->first, argument.range->second));
    }
    if (*argument.help == '\0')
        app.get_option(argument.Names().back())->group("");
}

bool CommandLine::Parse(int argc, char** argv) {
    try {
        _app.parse(argc, argv);
        return true;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != static_cast<int>(CLI::ExitCodes::Success))
            throw WrongArguments(error.what() + std::string("; --help tells more"));
        _app.exit(error);
        return false;
    }
}

const Command* CommandLine::Chosen() const {
    const std::vector<CLI::App*> chosen = const_cast<CLI::App&>(_app).get_subcommands();
    return chosen.empty() ? nullptr : _commands.at(chosen.front());
}

} // namespace TarnJobs
