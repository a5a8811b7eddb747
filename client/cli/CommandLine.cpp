#include "CommandLine.h"

#include "ExitCodes.h"
#include "Texts.h"

#include <algorithm>
#include <numeric>

namespace TarnJobs {
namespace {

using Kind = Argument::Kind;
using Texts = std::vector<std::string>;

/// Asked for by the build; not for people.
const std::vector<Argument>& HiddenOptions() {
    static const std::vector<Argument> options{{Kind::flag, "--man", "", ""}};
    return options;
}

/// How many letters must be put in, taken away, changed or swapped with their neighbour to make one word the other.
size_t Distance(const std::string& a, const std::string& b) {
    std::vector<std::vector<size_t>> costs(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = 0; i <= a.size(); ++i)
        for (size_t j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                costs[i][j] = i + j;
                continue;
            }
            const size_t change = costs[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
            costs[i][j] = std::min({costs[i - 1][j] + 1, costs[i][j - 1] + 1, change});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                costs[i][j] = std::min(costs[i][j], costs[i - 2][j - 2] + 1);
        }
    return costs[a.size()][b.size()];
}

/// What to tell beside a word that is none of those known: the nearest one, if it is near.
std::string Suggestion(const std::string& typed, const Texts& known) {
    const auto nearest = std::min_element(known.begin(), known.end(), [&](const auto& a, const auto& b) {
        return Distance(typed, a) < Distance(typed, b);
    });
    if (nearest == known.end() || Distance(typed, *nearest) > std::max<size_t>(1, typed.size() / 3))
        return "";
    return "; did you mean \"" + *nearest + "\"?";
}

Texts CommandNames() {
    Texts names;
    for (const Command& command : Commands())
        names.emplace_back(command.name);
    return names;
}

Texts OptionNames(const Command* command) {
    Texts names;
    const auto add = [&names](const std::vector<Argument>& arguments) {
        for (const Argument& argument : arguments)
            if (argument.IsOption())
                for (const std::string& name : argument.Names())
                    names.push_back(name);
    };
    add(ProgramOptions());
    if (command)
        add(command->arguments);
    return names;
}

std::string Joined(const Texts& words) {
    return std::accumulate(words.begin(), words.end(), std::string(),
                           [](const std::string& joined, const std::string& word) {
                               return joined + (joined.empty() ? "" : ", ") + word;
                           });
}

/// Whether help is asked for before the arguments end by "--".
bool AsksForHelp(const Texts& arguments) {
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    return std::any_of(arguments.begin(), end, [](const auto& word) { return word == "-h" || word == "--help"; });
}

} // namespace

const Argument* FindOption(const Command* command, const std::string& name) {
    for (const std::vector<Argument>* arguments : {command ? &command->arguments : nullptr, &ProgramOptions()})
        for (size_t at = 0; arguments && at < arguments->size(); ++at) {
            const Texts names = arguments->at(at).Names();
            if (arguments->at(at).IsOption() && std::find(names.begin(), names.end(), name) != names.end())
                return &arguments->at(at);
        }
    return nullptr;
}

const std::string* FirstWord(const Texts& arguments) {
    for (size_t at = 0; at < arguments.size(); ++at) {
        if (!arguments[at].starts_with('-'))
            return &arguments[at];
        const Argument* const option = FindOption(nullptr, arguments[at]);
        if (option && option->kind == Kind::option)
            ++at;
    }
    return nullptr;
}

CommandLine::CommandLine() : _app(programSummary, programName) {
    _app.set_help_flag();
    for (const Argument& option : ProgramOptions())
        _Add(_app, option);
    for (const Argument& option : HiddenOptions())
        _Add(_app, option);
    for (const Command& command : Commands()) {
        CLI::App* const sub = _app.add_subcommand(command.name, command.help);
        sub->set_help_flag();
        sub->fallthrough();
        for (const Argument& argument : command.arguments)
            _Add(*sub, argument);
        _commands[sub] = &command;
    }
    _app.require_subcommand(0, 1);
}

void CommandLine::_Add(CLI::App& app, const Argument& argument) {
    if (argument.kind == Kind::flag) {
        app.add_flag_function(argument.names, [this, &argument](int64_t) { _given.Add(argument.Key(), "true"); });
        return;
    }
    const auto take = [this, &argument](const CLI::results_t& values) {
        for (const std::string& value : values)
            _Take(argument, value);
        return true;
    };
    CLI::Option* const option = app.add_option(argument.names, take);
    option->required(argument.kind == Kind::word);
    if (argument.kind == Kind::words)
        option->expected(1, CLI::detail::expected_max_vector_size)->allow_extra_args();
    else
        option->expected(static_cast<int>(argument.count));
    if (argument.range)
        option->check(CLI::Range(argument.range->first, argument.range->second));
}

void CommandLine::_Take(const Argument& argument, const std::string& value) {
    const Texts& choices = argument.choices;
    const std::string word = argument.hasParts ? value.substr(0, value.find('.')) : value;
    if (!choices.empty() && std::find(choices.begin(), choices.end(), word) == choices.end())
        throw WrongArguments(argument.Names().back() + " cannot be \"" + word + "\"; it is one of " + Joined(choices) +
                             Suggestion(word, choices));
    _given.Add(argument.Key(), value);
}

void CommandLine::Parse(int argc, char** argv) {
    const Texts arguments(argv + std::min(argc, 1), argv + argc);
    const std::string* const word = FirstWord(arguments);
    const Command* const command = word ? FindCommand(*word) : nullptr;
    if (AsksForHelp(arguments)) {
        _given.Add("help", command ? command->name : "");
        return;
    }
    if (word && !command)
        throw WrongArguments("there is no command \"" + *word + "\"" + Suggestion(*word, CommandNames()));
    try {
        _app.parse(argc, argv);
    } catch (const CLI::ExtrasError& error) {
        const Texts extra = _app.remaining(true);
        const std::string name = extra.empty() ? "" : extra[0].substr(0, extra[0].find('='));
        if (!name.starts_with('-'))
            throw WrongArguments("\"" + name + "\" is one word too many");
        throw WrongArguments("there is no option \"" + name + "\"" + Suggestion(name, OptionNames(command)));
    } catch (const CLI::ParseError& error) {
        throw WrongArguments(error.what() + std::string("; see ") + programName + " help" +
                             (command ? " " + std::string(command->name) : ""));
    }
}

const Command* CommandLine::Chosen() const {
    const std::vector<CLI::App*> chosen = const_cast<CLI::App&>(_app).get_subcommands();
    return chosen.empty() ? nullptr : _commands.at(chosen.front());
}

} // namespace TarnJobs
