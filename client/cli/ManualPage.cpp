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

namespace {

/// Texts of the page that stand in no table.
constexpr const char* head = R"(.SH NAME
tarn\-jobs \- work with the jobs of an inspection camera's control unit
.SH SYNOPSIS
.B tarn\-jobs
[\fIOPTION\fR ...] \fICOMMAND\fR [\fIARGUMENT\fR ...]
.SH DESCRIPTION
Jobs are folders on removable cards. The service \fBtarn\-jobs\-daemon\fR owns them; this program asks it over the
message bus. At most one job is the current one: media are recorded into it.
.PP
A device is named by its ID. Where the ID of a job, a media item or a contact is wanted, its name does as well, or the
beginning of its ID, at least four characters of it; what fits several is told and refused. A value that begins with a dash comes after \fB\-\-\fR.
.PP
\fBcopy\fR, \fBmove\fR and \fBdelete\fR have the service work beside all else it does. They follow the work with a
bar on a terminal; Ctrl\-C cancels what is left after the job in work, a second one ends the program alone. A job that
cannot be done is told at once on standard error; the failure of the only job is the command's own. While a device is
busy with other such work or an index run, the service refuses them with code 1.
.PP
\fBdelete \-\-all\fR and \fBdelete\-media\fR ask on a terminal. Without one, \fBdelete \-\-all\fR needs
\fB\-\-yes\fR.
.PP
On a terminal, characters by which a text could steer it are shown as a question mark. Elsewhere texts go out as they are.
)";

constexpr const char* tail = R"(.SH ENVIRONMENT
.TP
\fBDBUS_SESSION_BUS_ADDRESS\fR
The address of the user's bus; without it, the bus in \fBXDG_RUNTIME_DIR\fR.
.TP
\fBNO_COLOR\fR
When not empty, failures have no colour.
.TP
\fBCOLUMNS\fR
The width of the bar on a terminal that does not tell its own.
.TP
\fBTZ\fR
The time zone in which times are printed; those in JSON stay as the service tells them.
.SH EXAMPLES
.nf
tarn\-jobs create \(dqMain Street 12\(dq
tarn\-jobs set customer.lastName Berg
tarn\-jobs search Berg \-\-in customer.lastName
tarn\-jobs copy \-\-all \-\-to back
tarn\-jobs delete \-\-all \-\-device back \-\-dry\-run
sudo tarn\-jobs \-\-user operator status
.fi
.SH SEE ALSO
.BR busctl (1)
)";

} // namespace

std::string ManualPage() {
    std::string options;
    for (const Argument& option : ProgramOptions())
        options += Explanation(option);
    return ".TH TARN\\-JOBS 1 \"\" \"" + std::string(programName) + " " + TARN_VERSION + "\" \"User Commands\"\n" +
           head + ".SH OPTIONS\nThey may stand before and after the command.\n" + options + ".SH COMMANDS\n" +
           CommandSections() + ".SH EXIT STATUS\n" + ExitCodes() + tail;
}

} // namespace TarnJobs
