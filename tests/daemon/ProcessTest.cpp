#include "simulator/SimulatedUnit.h"
#include "support/BusClient.h"
#include "support/Deadline.h"
#include "support/PrivateBus.h"
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
namespace {

constexpr const char* started = "Jobs Manager Daemon started\n";
constexpr const char* serving = "Jobs Manager Daemon enter main loop\n";

bool WaitForInput(int descriptor) {
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

class ProcessTest : public testing::Test {
protected:
    ProcessTest() {
        unit.Storage().AddCard("usb", card.Path());
        unit.Storage().SetAvailableDevices({"usb"});
    }

    /// A failed start: nothing is ready, the number is told, and the shell sees its low eight bits.
    static void ExpectFailedStart(Program& program) {
        const std::string output = program.WaitForOutput();
        const std::string exiting = std::string(started) + "Jobs Manager Daemon exiting (exit code:-";
        EXPECT_EQ(output.substr(0, exiting.size()), exiting);
        EXPECT_EQ(output.substr(output.size() - 6), ") ...\n");
        const int status = program.Status();
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), 256 - std::stoi(output.substr(exiting.size())));
        EXPECT_NE(WEXITSTATUS(status), 0);
        EXPECT_EQ(program.PendingNotification(), "");
    }

    TemporaryFolder card;
    Simulator::SimulatedUnit unit{PrivateBus::Instance().Address()};
    BusClient client;
};

TEST_F(ProcessTest, ASignalEndsTheServiceInPeace) {
    for (const int number : {SIGTERM, SIGINT}) {
        Program program;
        ASSERT_EQ(program.WaitForNotification(), "READY=1");
        EXPECT_EQ(client.Call("GetTargetDeviceID").Read<std::string>(), "usb") << "ready means ready";
        program.Signal(number);
        EXPECT_EQ(program.WaitForOutput(),
                  std::string(started) + serving + "Jobs Manager Daemon exiting (exit code:0) ...\n");
        const int status = program.Status();
        EXPECT_TRUE(WIFEXITED(status)) << status;
        EXPECT_EQ(WEXITSTATUS(status), 0);
        EXPECT_EQ(program.PendingNotification(), "") << "nothing but the one";
    }
}

TEST_F(ProcessTest, WithoutSettingsItDoesNotStart) {
    unit.Settings().GoAway();
    Program program;
    ExpectFailedStart(program);
}

TEST_F(ProcessTest, OnlyOneHasTheName) {
    Program first;
    ASSERT_EQ(first.WaitForNotification(), "READY=1");
    Program second;
    ExpectFailedStart(second);
    EXPECT_EQ(client.Call("GetTargetDeviceID").Read<std::string>(), "usb");
}

TEST_F(ProcessTest, ItStartsWithoutACard) {
    unit.Storage().GoAway();
    Program program;
    EXPECT_EQ(program.WaitForNotification(), "READY=1");
    EXPECT_EQ(client.Call("GetTargetDeviceID").Read<std::string>(), "");
}

TEST_F(ProcessTest, APropertyOfTheWrongTypeEndsIt) {
    const Simulator::Properties wrongs[] = {
        {{"IsMounted", "yes"}}, {{"ReadOnly", int32_t{1}}}, {{"IsMounted", true}, {"MountPoint", int32_t{1}}}};
    for (const Simulator::Properties& wrong : wrongs) {
        Program program;
        ASSERT_EQ(program.WaitForNotification(), "READY=1");
        unit.Storage().RawPropertiesChanged("usb", wrong);
        EXPECT_EQ(program.WaitForOutput(), std::string(started) + serving);
        const int status = program.Status();
        EXPECT_TRUE(WIFSIGNALED(status)) << wrong[0].first;
        EXPECT_EQ(WTERMSIG(status), SIGABRT) << wrong[0].first;
    }
}

} // namespace
} // namespace Testing
