#include "peers/PositionSource.h"
#include "peers/PeerTesting.h"
#include "support/LogCapture.h"

#include <cmath>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gps.h>
#include <gtest/gtest.h>
#include <memory>
#include <netinet/in.h>
#include <sys/prctl.h>
#include <sys/shm.h>
#include <sys/wait.h>
#include <syslog.h>
#include <thread>
#include <unistd.h>

using JobsManagerD::GetCurrentPosition;
using JobsManagerD::Position;

namespace Testing {
namespace {

constexpr const char* notLocked = "JobsManagerD::GetCurrentPosition - Failed to retrieve GPS location - GPS not locked";
constexpr const char* notRead = "JobsManagerD::GetCurrentPosition - Failed to open and read from GPS device";

/// Latitude and longitude, with a blank between.
std::string Text(const Position& position) { return position.latitude + " " + position.longitude; }

TEST(PositionOfFixTest, AFixNeedsStatusModeAndBothNumbers) {
    struct Case {
        int status;
        int mode;
        double latitude;
        double longitude;
        const char* text;
    };
    const Case cases[] = {
        {STATUS_FIX, MODE_2D, 12.5, -0.1234567, "12.500000 -0.123457"},
        {STATUS_DGPS_FIX, MODE_3D, -90, 180, "-90.000000 180.000000"},
        {STATUS_FIX, MODE_3D, 0, 0, "0.000000 0.000000"},
        {STATUS_NO_FIX, MODE_3D, 12.5, 1, " "},
        {STATUS_RTK_FIX, MODE_3D, 12.5, 1, " "},
        {STATUS_FIX, MODE_NO_FIX, 12.5, 1, " "},
        {STATUS_FIX, MODE_NOT_SEEN, 12.5, 1, " "},
        {STATUS_FIX, MODE_3D, NAN, 1, " "},
        {STATUS_FIX, MODE_3D, 12.5, NAN, " "},
    };
    const auto gpsData = std::make_unique<gps_data_t>();
    for (const Case& fix : cases) {
        SCOPED_TRACE(testing::Message() << fix.status << " " << fix.mode << " " << fix.latitude << " "
                                        << fix.longitude);
        gpsData->fix.status = fix.status;
        gpsData->fix.mode = fix.mode;
        gpsData->fix.latitude = fix.latitude;
        gpsData->fix.longitude = fix.longitude;
        LogCapture::Take();
        EXPECT_EQ(Text(JobsManagerD::PositionOfFix(*gpsData)), fix.text);
        EXPECT_EQ(LogCapture::Count(notLocked), fix.text == std::string(" ") ? 1u : 0u);
    }
}

/// A key of shared memory that is this process's own, so that no gpsd of this machine answers.
class CurrentPositionTest : public testing::Test {
protected:
    CurrentPositionTest() {
        setenv("GPSD_SHM_KEY", std::to_string(key).c_str(), 1);
        LogCapture::Take();
    }
    ~CurrentPositionTest() override {
        if (const int segment = shmget(key, 0, 0); segment >= 0)
            shmctl(segment, IPC_RMID, nullptr);
        unsetenv("GPSD_SHM_KEY");
    }

    const key_t key = 0x74000000 + getpid();
};

TEST_F(CurrentPositionTest, WithoutAReceiverBothTextsAreEmptyAndNoDescriptorIsClosed) {
    ASSERT_TRUE(fcntl(STDIN_FILENO, F_GETFD) >= 0 || open("/dev/null", O_RDONLY) == STDIN_FILENO);
    const auto before = OpenDescriptors();
    EXPECT_EQ(Text(GetCurrentPosition()), " ");
    EXPECT_EQ(LogCapture::Take(), (std::vector<LogLine>{{LOG_ERR, notRead}}));
    EXPECT_GE(fcntl(STDIN_FILENO, F_GETFD), 0);
    EXPECT_EQ(OpenDescriptors(), before);
}

/// A port that nobody listens on, for the sockets that gpsd insists on.
std::string FreePort() {
    sockaddr_in address{};
    socklen_t length = sizeof address;
    address.sin_family = AF_INET;
    const int probe = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    auto* const bound = reinterpret_cast<sockaddr*>(&address);
    if (bind(probe, bound, length) < 0 || getsockname(probe, bound, &length) < 0)
        ADD_FAILURE() << "no free port";
    close(probe);
    return std::to_string(ntohs(address.sin_port));
}

/// A gpsd that hears a receiver at the other end of a terminal.
class RunningGpsd {
public:
    RunningGpsd() : _receiver(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
        grantpt(_receiver);
        unlockpt(_receiver);
        const std::string terminal = ptsname(_receiver);
        // It gives up its privileges before it opens the terminal again.
        chmod(terminal.c_str(), 0666);
        const std::string port = FreePort();
        _process = fork();
        if (_process == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            execlp("gpsd", "gpsd", "-N", "-n", "-S", port.c_str(), terminal.c_str(), nullptr);
            _exit(127);
        }
    }
    RunningGpsd(const RunningGpsd&) = delete;
    RunningGpsd& operator=(const RunningGpsd&) = delete;
    ~RunningGpsd() {
        kill(_process, SIGTERM);
        waitpid(_process, nullptr, 0);
        close(_receiver);
    }

    bool IsRunning() const { return waitpid(_process, nullptr, WNOHANG) == 0; }

    /// One second's report of the receiver: 52 degrees 30 minutes north, 13 degrees 22.5 minutes west.
    void Report(bool isLocked) {
        char time[16];
        std::snprintf(time, sizeof time, "1200%02d.00", _second++ % 60);
        const std::string place = "5230.000,N,01322.500,W,";
        _Write("GPRMC," + std::string(time) + (isLocked ? ",A," : ",V,") + place + "0.0,0.0,150624,,,A");
        _Write("GPGGA," + std::string(time) + "," + place + (isLocked ? "1,08" : "0,00") + ",1.0,50.0,M,0.0,M,,");
        _Write(std::string("GPGSA,A,") + (isLocked ? "3" : "1") + ",01,02,03,04,05,06,07,08,,,,,1.5,1.0,1.1");
    }

private:
    void _Write(const std::string& sentence) {
        int sum = 0;
        for (const char letter : sentence)
            sum ^= letter;
        char ending[8];
        std::snprintf(ending, sizeof ending, "*%02X\r\n", sum);
        const std::string line = "$" + sentence + ending;
        EXPECT_EQ(write(_receiver, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    }

    const int _receiver;
    pid_t _process;
    int _second = 0;
};

TEST_F(CurrentPositionTest, TheReceiverIsReadThroughTheSharedMemoryOfGpsd) {
    if (std::system("command -v gpsd > /dev/null") != 0)
        GTEST_SKIP() << "gpsd is not installed";
    RunningGpsd gpsd;
    // gpsd tells nobody when it has taken a report in.
    const auto reportUntil = [&gpsd](bool isLocked, const std::string& latitude) {
        Position position;
        const auto end = std::chrono::steady_clock::now() + deadline;
        do {
            gpsd.Report(isLocked);
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            position = GetCurrentPosition();
        } while (position.latitude != latitude && gpsd.IsRunning() && std::chrono::steady_clock::now() < end);
        return Text(position);
    };
    EXPECT_EQ(reportUntil(true, "52.500000"), "52.500000 -13.375000");
    const auto before = OpenDescriptors();
    LogCapture::Take();
    EXPECT_EQ(Text(GetCurrentPosition()), "52.500000 -13.375000");
    EXPECT_TRUE(LogCapture::Take().empty());
    EXPECT_EQ(reportUntil(false, ""), " ");
    EXPECT_EQ(OpenDescriptors(), before);
    EXPECT_EQ(LogCapture::Lines().back(), (LogLine{LOG_DEBUG, notLocked}));
}

TEST(ThisUnitInfoTest, TheRecordIsOneAndFilled) {
    const JobsManagerD::Source& unit = JobsManagerD::GetThisUnitInfo();
    EXPECT_FALSE(unit.model.empty() || unit.serial.empty() || unit.version.empty());
    EXPECT_EQ(&unit, &JobsManagerD::GetThisUnitInfo());
}

} // namespace
} // namespace Testing
