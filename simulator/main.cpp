#include "simulator/Console.h"

#include <csignal>
#include <iostream>
#include <poll.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

constexpr const char* usage = "Usage: tarn-simulated-unit [--card ID=FOLDER]... [--primary ID]";

struct Options {
    std::vector<std::pair<std::string, std::string>> cards;
    std::string primary;
};

bool ParseOptions(const std::vector<std::string>& arguments, Options& options) {
    for (size_t at = 0; at < arguments.size(); at += 2) {
        if (at + 1 == arguments.size())
            return false;
        const std::string& value = arguments[at + 1];
        const size_t equals = value.find('=');
        if (arguments[at] == "--primary")
            options.primary = value;
        else if (arguments[at] == "--card" && equals != std::string::npos)
            options.cards.emplace_back(value.substr(0, equals), value.substr(equals + 1));
        else
            return false;
    }
    return true;
}

void SetUp(Simulator::SimulatedUnit& unit, const Options& options) {
    std::vector<std::string> ids;
    for (const auto& [id, folder] : options.cards) {
        unit.Storage().AddCard(id, folder);
        ids.push_back(id);
    }
    unit.Storage().SetAvailableDevices(ids);
    unit.Storage().SetPrimaryDevice(options.primary);
}

/// Blocks the signals that end the program, before there is another thread, and has them come in over a descriptor.
int StopDescriptor() {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC);
}

/// Executes the lines of standard input until it ends, or a signal or "quit" comes.
void ServeInput(Simulator::Console& console, int stopDescriptor) {
    pollfd sources[] = {{STDIN_FILENO, POLLIN, 0}, {stopDescriptor, POLLIN, 0}};
    std::string pending;
    while (!console.HasQuit() && poll(sources, std::size(sources), -1) > 0 && sources[1].revents == 0) {
        char buffer[4096];
        const ssize_t length = read(STDIN_FILENO, buffer, sizeof buffer);
        if (length <= 0)
            return;
        pending.append(buffer, static_cast<size_t>(length));
        for (size_t end; !console.HasQuit() && (end = pending.find('\n')) != std::string::npos;) {
            std::cout << console.Execute(pending.substr(0, end)) << std::endl;
            pending.erase(0, end + 1);
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    if (!ParseOptions({argv + 1, argv + argc}, options)) {
        std::cerr << usage << std::endl;
        return 2;
    }
    const int stopDescriptor = StopDescriptor();
    try {
        Simulator::SimulatedUnit unit;
        SetUp(unit, options);
        std::cout << "ready" << std::endl;
        Simulator::Console console(unit);
        ServeInput(console, stopDescriptor);
    } catch (const std::exception& failure) {
        std::cerr << "tarn-simulated-unit: " << failure.what() << std::endl;
        return 1;
    }
    return 0;
}
