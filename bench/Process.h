#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace Bench {

/// The socket on which a process tells that it is ready, as the service manager has it. One at a time.
class NotifySocket {
public:
    /// Sets NOTIFY_SOCKET for processes that start from now on. Throws std::system_error.
    explicit NotifySocket(const std::string& path);
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;
    ~NotifySocket();

    /// Throws std::runtime_error when nobody tells it within a minute.
    void WaitForReady() const;

private:
    const std::string _path;
    const int _socket;
};

/// A program with its output thrown away, ended at the end of this by SIGTERM, or by the death of the benchmark.
class Process {
public:
    explicit Process(const std::vector<std::string>& command);
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    ~Process();

    pid_t Id() const { return _process; }

private:
    pid_t _process;
};

} // namespace Bench
