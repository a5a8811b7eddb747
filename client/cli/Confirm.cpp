#include "Confirm.h"

#include "ExitCodes.h"

#include <iostream>
#include <unistd.h>

namespace TarnJobs {

bool CanAsk() { return Terminal::IsTerminal(STDIN_FILENO) && Terminal::IsTerminal(STDERR_FILENO); }

void Confirm(const Invocation& invocation, const std::string& question) {
    if (invocation.given.Has("yes") || !CanAsk())
        return;
    std::cerr << Terminal::Masked(question) << " [y/N] " << std::flush;
    std::string answer;
    if (!std::getline(std::cin, answer))
        std::cerr << std::endl;
    if (answer != "y" && answer != "Y" && answer != "yes")
        throw WrongArguments("nothing was done");
}

} // namespace TarnJobs
