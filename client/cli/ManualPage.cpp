#include "Command.h"
#include "ExitCodes.h"
#include "Texts.h"

namespace TarnJobs {
namespace {

std::string Escaped(const std::string& text) {
    std::string escaped;
    for (const char letter : text) {
        if (letter == '\\' || letter == '-')
            escaped += '\\';
        escaped += letter;
    }
    return escaped;
}

std::string Bold(const std::string& text) { return "\\fB" + Escaped(text) + "\\fR"; }
std::string Italic(const std::string& text) { return "\\fI" + Escaped(text) + "\\fR"; }

/// An argument as it stands in a command.
std::string Form(const Argument& argument) {
    switch (argument.kind) {
    case Argument::Kind::word:
        return Italic(argument.names);
    case Argument::Kind::optionalWord:
        return "[" + Italic(argument.names) + "]";
    case Argument::Kind::words:
        return "[" + Italic(argument.names) + " ...]";
    case Argument::Kind::flag:
        return "[" + Bold(argument.Names().back()) + "]";
    case Argument::Kind::option:
        break;
    }
    return "[" + Bold(argument.Names().back()) + " " + Italic(argument.value) + "]";
}

std::string Explanation(const Argument& argument) {
    std::string head;
    for (const std::string& name : argument.Names())
        head += (head.empty() ? "" : ", ") + (argument.IsOption() ? Bold(name) : Italic(name));
    if (argument.kind == Argument::Kind::option)
        head += " " + Italic(argument.value);
    std::string choices;
    for (const std::string& choice : argument.choices)
        choices += (choices.empty() ? ": " : ", ") + choice;
    return ".TP\n" + head + "\n" + Escaped(argument.help + choices) + ".\n";
}

std::string CommandSections() {
    std::string text;
    std::string group;
    for (const Command& command : Commands()) {
        if (group != command.group)
            text += ".SS " + Escaped(group = command.group) + "\n";
        text += ".TP\n" + Bold(command.name);
        for (const Argument& argument : command.arguments)
            text += " " + Form(argument);
        text += "\n" + Escaped(command.help) + ".\n";
        if (command.arguments.empty())
            continue;
        text += ".RS\n";
        for (const Argument& argument : command.arguments)
            text += Explanation(argument);
        text += ".RE\n";
    }
    return text;
}

std::string ExitCodes() {
    std::string text;
    for (const ExitCodeRow& row : exitCodeRows)
        text += ".TP\n" + Bold(row.code) + "\n" + Escaped(row.meaning) + "\n";
    text += ".RS\n";
    for (int32_t code = 1; code < libjobsdaemon::returnCodeCount; ++code) {
        const std::string hint = HintOf(code);
        text += ".TP\n" + Bold(std::to_string(exitRefused + code)) + "\n" +
                Escaped(libjobsdaemon::ReturnCodeText(code)) + "." + (hint.empty() ? "" : " " + Escaped(hint)) + "\n";
    }
    return text + ".RE\n";
}

} // namespace

std::string ManualPage() {
    std::string options;
    for (const Argument& option : ProgramOptions())
        options += Explanation(option);
    return ".TH TARN\\-JOBS 1 \"\" \"" + std::string(programName) + " " + TARN_VERSION +
           "\" \"User Commands\"\n"
           ".SH NAME\ntarn\\-jobs \\- work with the jobs of an inspection camera's control unit\n"
           ".SH SYNOPSIS\n.B tarn\\-jobs\n[\\fIOPTION\\fR ...] \\fICOMMAND\\fR [\\fIARGUMENT\\fR ...]\n"
           ".SH DESCRIPTION\n"
           "Jobs are folders on removable cards. The service \\fBtarn\\-jobs\\-daemon\\fR owns them; this program asks "
           "it over the\nmessage bus. A device is named by its ID, a job and a media item by theirs. At most one job "
           "is "
           "the current one: media\nare recorded into it.\n"
           ".PP\n"
           "A value that begins with a dash comes after \\fB\\-\\-\\fR.\n"
           ".SH OPTIONS\n"
           "They may stand before and after the command.\n" +
           options + Explanation({Argument::Kind::flag, "--help", "", "Help, also of one command"}) +
           Explanation({Argument::Kind::flag, "--version", "", "The version"}) + ".SH COMMANDS\n" + CommandSections() +
           ".SH EXIT STATUS\n" + ExitCodes() +
           ".SH ENVIRONMENT\n.TP\n\\fBDBUS_SESSION_BUS_ADDRESS\\fR\nThe address of the user's bus.\n"
           ".SH EXAMPLES\n.nf\n"
           "tarn\\-jobs create \\(dqMain Street 12\\(dq\n"
           "tarn\\-jobs set customer \\(aq{\\(dqlastName\\(dq: \\(dqBerg\\(dq}\\(aq\n"
           "tarn\\-jobs search Berg \\-\\-in customer.lastName\n"
           "tarn\\-jobs copy \\-\\-all \\-\\-to back\n"
           ".fi\n"
           ".SH SEE ALSO\n.BR busctl (1)\n";
}

} // namespace TarnJobs
