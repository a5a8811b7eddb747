#pragma once

#include "support/Deadline.h"
#include "support/TemporaryFolder.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Testing {

inline bool WaitForInput(int descriptor) {
    pollfd source{descriptor, POLLIN, 0};
    return poll(&source, 1, static_cast<int>(std::chrono::milliseconds(deadline).count())) > 0;
}

/// The program itself, as a service manager starts it.
class Program {
public:
    Program() : _notifications(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        const std::string path = _folder / "notify";
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(_notifications, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        setenv("NOTIFY_SOCKET", path.c_str(), 1);
        _Spawn();
        unsetenv("NOTIFY_SOCKET");
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program() {
        if (!_status) {
            kill(_process, SIGKILL);
            waitpid(_process, nullptr, 0);
        }
        close(_output);
        close(_notifications);
    }

    void Signal(int number) const { kill(_process, number); }

    /// The next notification; empty when none comes before the deadline.
    std::string WaitForNotification() const { return WaitForInput(_notifications) ? _ReadNotification() : ""; }
    /// A notification that has come already; empty when none has.
    std::string PendingNotification() const {
        pollfd source{_notifications, POLLIN, 0};
        return poll(&source, 1, 0) > 0 ? _ReadNotification() : "";
    }

    /// All that it printed, once it has ended.
    std::string WaitForOutput() {
        std::string output;
        char buffer[512];
        for (ssize_t length = 1; length > 0 && WaitForInput(_output);) {
            length = read(_output, buffer, sizeof buffer);
            output.append(buffer, length > 0 ? static_cast<size_t>(length) : 0);
        }
        return output;
    }
    /// As waitpid tells it. WaitForOutput comes first, since it has a deadline.
    int Status() {
        int status = 0;
        waitpid(_process, &status, 0);
        _status = status;
        return status;
    }

private:
    void _Spawn() {
        int ends[2];
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        char program[] = TARN_JOBS_DAEMON;
        char* const arguments[] = {program, nullptr};
        EXPECT_EQ(posix_spawn(&_process, program, &actions, nullptr, arguments, environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        _output = ends[0];
    }

    std::string _ReadNotification() const {
        char buffer[512];
        const ssize_t length = recv(_notifications, buffer, sizeof buffer, 0);
        return {buffer, length > 0 ? static_cast<size_t>(length) : 0};
    }

    TemporaryFolder _folder;
    const int _notifications;
    int _output = -1;
    pid_t _process = -1;
    std::optional<int> _status;
};

} // namespace Testing
