#include "CommandLine.h"
#include "ExitCodes.h"
#include "Failure.h"
#include "Resolve.h"
#include "Texts.h"

#include <algorithm>
#include <fcntl.h>
#include <iostream>
#include <unistd.h>

using namespace libjobsdaemon;

namespace TarnJobs {
namespace {

/// A standard descriptor that was closed before the start would become that of the bus. In its place stands one that
/// cannot be written.
void FillClosedDescriptors() {
    for (int descriptor = 0; descriptor < 3; ++descriptor)
        if (fcntl(descriptor, F_GETFD) < 0 && open("/dev/null", O_RDONLY) != descriptor)
            _exit(exitOutputFailed);
}

JobsManager Connect(const Given& given) {
    JobsManager service =
        given.Has("user") ? JobsManager::OfUser(given.Text("user")) : JobsManager(given.Text("address"));
    service.SetTimeout(std::chrono::seconds(given.Number("timeout")));
    return service;
}

/// What "help" and "--help" are about; null for the program.
const Command* Subject(const std::string& name) {
    const Command* const command = FindCommand(name);
    if (!command && !name.empty())
        throw WrongArguments("there is no command \"" + name + "\"");
    return command;
}

void PrintVersion(bool isJson) {
    if (isJson)
        std::cout << Dumped({{"name", programName}, {"version", TARN_VERSION}, {"library", LibraryVersion()}}) << '\n';
    else
        std::cout << programName << ' ' << TARN_VERSION << '\n';
}

/// The program's own texts. False when none was asked for.
bool PrintText(const Given& given, const Command* command) {
    if (given.Has("help") || (command && !command->run))
        std::cout << Help(Subject(given.Has("help") ? given.Text("help") : given.Text("COMMAND")));
    else if (given.Has("version"))
        PrintVersion(given.Has("json"));
    else if (given.Has("man"))
        std::cout << ManualPage();
    else
        return false;
    return true;
}

int Run(const CommandLine& line) {
    const Given& typed = line.Arguments();
    const Command* const command = line.Chosen();
    if (PrintText(typed, command)) {
        FlushOutput();
        return exitSucceeded;
    }
    if (!command)
        throw WrongArguments("name a command; --help lists them");
    JobsManager service = Connect(typed);
    const Given given = Resolved(service, *command, typed);
    const Output output(given.Has("json"), given.Has("utc"), command->view);
    const Outcome outcome = command->run({service, given, output});
    output.Tell(outcome);
    return outcome.exitCode;
}

/// As it may be typed again, with a blank before each word.
std::string Typed(int argc, char** argv) {
    std::string typed;
    for (int at = 1; at < argc; ++at) {
        const std::string word = argv[at];
        const bool isPlain = !word.empty() && std::all_of(word.begin(), word.end(), [](unsigned char letter) {
            return std::isalnum(letter) != 0 ||
                   std::string_view("-_./=,:@").find(static_cast<char>(letter)) != std::string_view::npos;
        });
        typed += isPlain ? " " + word : " '" + word + "'";
    }
    return typed;
}

int Main(int argc, char** argv) {
    FillClosedDescriptors();
    if (argc > 1 && argv[1] == std::string("__complete")) {
        PrintCompletions({argv + 2, argv + argc});
        return exitSucceeded;
    }
    // Wrong arguments are told as JSON, too, when it was asked for among them.
    const bool isJson = std::find(argv, argv + argc, std::string("--json")) != argv + argc;
    CommandLine line;
    try {
        line.Parse(argc, argv);
        return Run(line);
    } catch (...) {
        const Given& given = line.Arguments();
        const Failure failure = PresentFailure(Typed(argc, argv), !given.Has("address") && !given.Has("user"));
        std::cerr << FailureLine(failure, isJson) << std::endl;
        return failure.exitCode;
    }
}

} // namespace
} // namespace TarnJobs

int main(int argc, char** argv) { return TarnJobs::Main(argc, argv); }
