#include "Command.h"
#include "Texts.h"

#include <sstream>

namespace TarnJobs {
namespace {

using Kind = Argument::Kind;

constexpr size_t columns = 80;
constexpr size_t indent = 26;

/// A name in its column, then a text in lines that fit.
std::string Entry(const std::string& name, const std::string& text) {
    std::string lines = "  " + name;
    size_t column = lines.size();
    std::istringstream words(text);
    bool isFirst = true;
    for (std::string word; words >> word; isFirst = false) {
        if (isFirst || column + 1 + word.size() > columns) {
            if (!isFirst || column >= indent) {
                lines += '\n';
                column = 0;
            }
            lines += std::string(indent - column, ' ') + word;
            column = indent + word.size();
        } else {
            lines += ' ' + word;
            column += 1 + word.size();
        }
    }
    return lines + '\n';
}

/// An argument as it is typed.
std::string Form(const Argument& argument) {
    const std::string name = argument.Names().back();
    switch (argument.kind) {
    case Kind::word:
        return name;
    case Kind::optionalWord:
        return "[" + name + "]";
    case Kind::words:
        return "[" + name + " ...]";
    case Kind::flag:
        return "[" + name + "]";
    case Kind::option:
        break;
    }
    return "[" + name + " " + argument.value + "]";
}

std::string Explanation(const Argument& argument) {
    std::string name;
    for (const std::string& form : argument.Names())
        name += (name.empty() ? "" : ", ") + form;
    if (argument.kind == Kind::option)
        name += std::string(" ") + argument.value;
    std::string choices;
    for (const std::string& choice : argument.choices)
        choices += (choices.empty() ? ": " : ", ") + choice;
    return Entry(name, argument.help + choices);
}

std::string Explanations(const char* title, const std::vector<Argument>& arguments) {
    std::string text;
    for (const Argument& argument : arguments)
        text += Explanation(argument);
    return text.empty() ? "" : std::string(title) + "\n" + text;
}

std::string AllCommands() {
    std::string text;
    const char* group = "";
    for (const Command& command : Commands()) {
        if (std::string(group) != command.group)
            text += std::string("\n") + (group = command.group) + ":\n";
        text += Entry(command.name, command.help);
    }
    return text;
}

} // namespace

std::string Help(const Command* command) {
    const std::string program = programName;
    std::string help;
    if (!command) {
        help += programSummary;
        help += "\nUsage: " + program + " [OPTION ...] COMMAND [ARGUMENT ...]\n" + AllCommands() + "\n";
        help += Explanations("Options, before and after a command:", ProgramOptions());
        return help + "\nHelp with a command: " + program + " help COMMAND. Exit codes and all else: man " + program +
               ".\n";
    }
    help += command->help;
    help += ".\nUsage: " + program + " " + command->name;
    for (const Argument& argument : command->arguments)
        help += " " + Form(argument);
    help += "\n";
    if (!command->arguments.empty())
        help += "\n" + Explanations("Arguments:", command->arguments);
    return help;
}

} // namespace TarnJobs
