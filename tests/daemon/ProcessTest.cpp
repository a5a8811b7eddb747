#include "daemon/Program.h"
#include "simulator/SimulatedUnit.h"
#include "support/BusClient.h"
#include "support/PrivateBus.h"

#include <csignal>
#include <sys/wait.h>

namespace Testing {
namespace {

constexpr const char* started = "Jobs Manager Daemon started\n";
constexpr const char* serving = "Jobs Manager Daemon enter main loop\n";

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
        EXPECT_EQ(program.WaitForNotification(), "STATUS=Version 1.0.0, devices: usb");
        program.Signal(number);
        EXPECT_EQ(program.WaitForOutput(),
                  std::string(started) + serving + "Jobs Manager Daemon exiting (exit code:0) ...\n");
        const int status = program.Status();
        EXPECT_TRUE(WIFEXITED(status)) << status;
        EXPECT_EQ(WEXITSTATUS(status), 0);
        EXPECT_EQ(program.PendingNotification(), "") << "nothing else";
    }
}

TEST_F(ProcessTest, TheServiceManagerHearsOfDevicesAndOfALoopThatTurns) {
    setenv("WATCHDOG_USEC", "200000", 1);
    Program program;
    unsetenv("WATCHDOG_USEC");
    EXPECT_EQ(program.WaitForNotification(), "READY=1");
    EXPECT_EQ(program.WaitForNotification(), "STATUS=Version 1.0.0, devices: usb");
    for (int beat = 0; beat < 3; ++beat)
        EXPECT_EQ(program.WaitForNotification(), "WATCHDOG=1");
    const auto nextWord = [&program] {
        std::string word;
        do
            word = program.WaitForNotification();
        while (word == "WATCHDOG=1");
        return word;
    };
    const TemporaryFolder other;
    unit.Storage().InsertCard("sd", other.Path());
    EXPECT_EQ(nextWord(), "STATUS=Version 1.0.0, devices: usb, sd");
    unit.Storage().UnmountCard("sd");
    EXPECT_EQ(nextWord(), "STATUS=Version 1.0.0, devices: usb");
    unit.Storage().UnmountCard("usb");
    EXPECT_EQ(nextWord(), "STATUS=Version 1.0.0, no devices");
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
