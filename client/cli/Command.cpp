#include "Command.h"

#include "ExitCodes.h"

#include <algorithm>
#include <cerrno>
#include <iostream>
#include <sstream>

namespace TarnJobs {
namespace {

/// The service's own bytes, if they are one line of JSON.
std::string JsonLine(const Outcome& outcome) {
    const std::string& bytes = outcome.bytes;
    const bool isLine = bytes.find('\n') == std::string::npos && Json::accept(bytes);
    return isLine ? bytes : Dumped(*outcome.result);
}

} // namespace

std::vector<std::string> Argument::Names() const {
    std::vector<std::string> all;
    std::istringstream stream(names);
    for (std::string name; std::getline(stream, name, ',');)
        all.push_back(name);
    return all;
}

std::string Argument::Key() const {
    const std::string longest = Names().back();
    return longest.substr(std::min(longest.find_first_not_of('-'), longest.size()));
}

void Output::Tell(const Outcome& outcome) const {
    if (!outcome.result)
        return;
    if (_isJson) {
        std::cout << JsonLine(outcome) << '\n';
    } else if (outcome.isForPeople) {
        Page page(std::cout, _isUtc);
        _view(page, *outcome.result);
    }
    FlushOutput();
}

void FlushOutput() {
    errno = 0;
    if (!std::cout.flush())
        throw OutputFailed(errno);
}

const Command* FindCommand(const std::string& name) {
    const std::vector<Command>& all = Commands();
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const Command& command) { return name == command.name; });
    return found == all.end() ? nullptr : &*found;
}

} // namespace TarnJobs
