#include "Command.h"

#include <iostream>
#include <sstream>

namespace TarnJobs {

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

void Output::Tell(const Json& result) const {
    if (_isJson)
        std::cout << result.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
    else
        _view(std::cout, result);
    std::cout.flush();
}

} // namespace TarnJobs
