#include "Command.h"
#include "Texts.h"

namespace TarnJobs {
namespace {

std::string Joined(const std::vector<std::string>& words) {
    std::string joined;
    for (const std::string& word : words)
        joined += (joined.empty() ? "" : " ") + word;
    return joined;
}

/// Asks the program itself, which asks the service; without one there is nothing to offer.
std::string Values(Argument::Offer offer) {
    const std::string what = offer == Argument::Offer::devices ? "devices" : "jobs";
    return "$(" + std::string(programName) + " --values " + what + " 2>/dev/null)";
}

bool IsAsked(const Argument& argument) {
    return argument.offer == Argument::Offer::devices || argument.offer == Argument::Offer::jobs;
}

// bash

/// The commands that offer the argument's value.
std::string BashOffer(const Argument& argument) {
    if (!argument.choices.empty())
        return "words='" + Joined(argument.choices) + "'";
    if (IsAsked(argument))
        return "words=\"" + Values(argument.offer) + "\"";
    return argument.offer == Argument::Offer::files ? "files=1" : ":";
}

/// The cases of a command: after an option its values, else its options and the values of its words.
std::string BashCases(const std::string& command, const std::vector<Argument>& arguments) {
    std::string cases;
    std::string words;
    std::string offers;
    for (const Argument& argument : arguments) {
        const std::vector<std::string> names = argument.Names();
        if (argument.IsOption())
            words += Joined(names) + " ";
        else if (argument.choices.empty())
            offers += "; " + BashOffer(argument);
        else
            words += Joined(argument.choices) + " ";
        if (argument.kind == Argument::Kind::option)
            for (const std::string& name : names)
                cases += "    '" + command + " " + name + "') " + BashOffer(argument) + " ;;\n";
    }
    // What the words offer goes first, so that the options join them.
    return cases + "    '" + command + " '*) " + (offers.empty() ? "" : offers.substr(2) + "; ") + "words=\"$words " +
           words + "--json --timeout --address --help\" ;;\n";
}

// zsh

/// Within single quotes, in an argument of _arguments.
std::string ZshText(const std::string& text) {
    std::string escaped;
    for (const char letter : text) {
        if (letter == '[' || letter == ']' || letter == ':')
            escaped += '\\';
        escaped += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
    }
    return escaped;
}

std::string ZshAction(const Argument& argument) {
    if (!argument.choices.empty())
        return "(" + Joined(argument.choices) + ")";
    if (IsAsked(argument))
        return "{compadd -- " + Values(argument.offer) + "}";
    return argument.offer == Argument::Offer::files ? "_files" : " ";
}

std::string ZshArgument(const Argument& argument) {
    std::string forms;
    if (!argument.IsOption()) {
        const std::string many = argument.kind == Argument::Kind::words ? "*" : "";
        return " '" + many + ":" + ZshText(argument.names) + ":" + ZshAction(argument) + "'";
    }
    for (const std::string& name : argument.Names()) {
        forms += " '" + name + "[" + ZshText(argument.help) + "]";
        for (size_t value = 0; argument.kind == Argument::Kind::option && value < argument.count; ++value)
            forms += ":" + ZshText(argument.value) + ":" + ZshAction(argument);
        forms += "'";
    }
    return forms;
}

} // namespace

std::string BashCompletion() {
    std::string names;
    std::string cases;
    for (const Command& command : Commands()) {
        names += std::string(command.name) + " ";
        cases += BashCases(command.name, command.arguments);
    }
    return "# Completion of tarn-jobs for bash.\n"
           "_tarn_jobs() {\n"
           "    local word command='' words='' files='' current=${COMP_WORDS[COMP_CWORD]}\n"
           "    for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "        case \"$word\" in -*) ;; *) command=$word; break ;; esac\n"
           "    done\n"
           "    case \"$command ${COMP_WORDS[COMP_CWORD-1]}\" in\n" +
           cases + "    *) words='" + names +
           "--json --timeout --address --help --version' ;;\n"
           "    esac\n"
           "    mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
           "    [ -z \"$files\" ] || mapfile -t -O \"${#COMPREPLY[@]}\" COMPREPLY < <(compgen -f -- \"$current\")\n"
           "}\n"
           "complete -o filenames -F _tarn_jobs tarn-jobs\n";
}

std::string ZshCompletion() {
    std::string names;
    std::string cases;
    for (const Command& command : Commands()) {
        names += "        '" + std::string(command.name) + ":" + ZshText(command.help) + "'\n";
        cases += "    " + std::string(command.name) + ") _arguments";
        for (const Argument& argument : command.arguments)
            cases += ZshArgument(argument);
        cases += " $options ;;\n";
    }
    std::string options;
    for (const Argument& option : ProgramOptions())
        options += ZshArgument(option);
    return "#compdef tarn-jobs\n"
           "# Completion of tarn-jobs for zsh.\n"
           "_tarn_jobs() {\n"
           "    local -a commands options\n"
           "    local context state state_descr line\n"
           "    typeset -A opt_args\n"
           "    options=(" +
           options.substr(1) +
           ")\n"
           "    commands=(\n" +
           names +
           "    )\n"
           "    _arguments -C $options '1:command:->command' '*::argument:->argument'\n"
           "    case $state in\n"
           "    command) _describe command commands; return ;;\n"
           "    argument) ;;\n"
           "    *) return ;;\n"
           "    esac\n"
           "    case $words[1] in\n" +
           cases +
           "    esac\n"
           "}\n"
           "_tarn_jobs \"$@\"\n";
}

} // namespace TarnJobs
