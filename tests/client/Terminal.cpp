#include "client/Terminal.h"

#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

namespace Testing {

OnTerminal::OnTerminal(const std::string& line, unsigned short columns) {
    _terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    char name[64];
    if (_terminal < 0 || grantpt(_terminal) < 0 || unlockpt(_terminal) < 0 ||
        ptsname_r(_terminal, name, sizeof name) != 0)
        throw std::runtime_error("no terminal");
    // What is typed does not stand among what is printed, and lines end as they were written.
    termios settings{};
    tcgetattr(_terminal, &settings);
    settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    settings.c_oflag &= ~static_cast<tcflag_t>(OPOST);
    tcsetattr(_terminal, TCSANOW, &settings);
    const winsize size{24, columns, 0, 0};
    ioctl(_terminal, TIOCSWINSZ, &size);

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    // The first terminal that a session's leader opens is the one whose Ctrl-C reaches it.
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, name, O_RDWR, 0);
    posix_spawn_file_actions_adddup2(&files, STDIN_FILENO, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&files, STDIN_FILENO, STDERR_FILENO);
    const char* const words[] = {"bash", "-c", line.c_str(), nullptr};
    const int failure = posix_spawnp(&_process, "bash", &files, &attributes, const_cast<char**>(words), environ);
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    if (failure != 0)
        throw std::runtime_error("no bash");
}

OnTerminal::~OnTerminal() {
    if (_process > 0)
        End();
    close(_terminal);
}

void OnTerminal::Type(const std::string& text) const {
    if (write(_terminal, text.data(), text.size()) < 0)
        throw std::runtime_error("nobody reads what is typed");
}

bool OnTerminal::WaitFor(const std::string& text) {
    while (_bytes.find(text) == std::string::npos)
        if (!_Read())
            return false;
    return true;
}

int OnTerminal::End() {
    while (_Read()) {
    }
    int status = 0;
    waitpid(_process, &status, 0);
    _process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::string OnTerminal::Screen() const {
    const std::string clear = "\r\x1b[K";
    std::string screen;
    for (size_t at = 0; at < _bytes.size(); ++at) {
        if (_bytes.compare(at, clear.size(), clear) == 0) {
            screen.resize(screen.rfind('\n') + 1);
            at += clear.size() - 1;
        } else if (_bytes[at] == '\x1b') {
            at = _bytes.find('m', at);
        } else {
            screen += _bytes[at];
        }
    }
    return screen;
}

/// False when the last process has closed the terminal.
bool OnTerminal::_Read() {
    char bytes[4096];
    const ssize_t size = read(_terminal, bytes, sizeof bytes);
    if (size <= 0)
        return false;
    _bytes.append(bytes, static_cast<size_t>(size));
    return true;
}

} // namespace Testing
