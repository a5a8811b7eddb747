#include "bench/Process.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <string_view>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace Bench {

NotifySocket::NotifySocket(const std::string& path)
    : _path(path), _socket(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    const timeval longest{60, 0};
    if (bind(_socket, reinterpret_cast<const sockaddr*>(&address), sizeof address) < 0 ||
        setsockopt(_socket, SOL_SOCKET, SO_RCVTIMEO, &longest, sizeof longest) < 0)
        throw std::system_error(errno, std::generic_category(), "notify socket");
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
}

NotifySocket::~NotifySocket() {
    unsetenv("NOTIFY_SOCKET");
    close(_socket);
    unlink(_path.c_str());
}

void NotifySocket::WaitForReady() const {
    char text[64];
    const ssize_t length = recv(_socket, text, sizeof text, 0);
    if (length < 0 || std::string_view(text, static_cast<size_t>(length)) != "READY=1")
        throw std::runtime_error("the process did not become ready");
}

Process::Process(const std::vector<std::string>& command) {
    std::vector<char*> arguments;
    for (const std::string& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    _process = fork();
    if (_process < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    if (_process > 0)
        return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // An input that never ends: the program holds its other end open itself.
    int input[2];
    if (pipe(input) == 0)
        dup2(input[0], STDIN_FILENO);
    dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    execv(arguments[0], arguments.data());
    _exit(127);
}

Process::~Process() {
    kill(_process, SIGTERM);
    waitpid(_process, nullptr, 0);
}

} // namespace Bench
