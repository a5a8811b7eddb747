#include "support/PrivateBus.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace Testing {
namespace {

/// A session bus that any connection may use as it likes. A message may have the usual 32 MiB; the other limits are far
/// above what a stress test needs.
std::string Configuration(const std::string& folder) {
    std::string limits;
    for (const char* name :
         {"max_incoming_bytes", "max_outgoing_bytes", "max_completed_connections", "max_incomplete_connections",
          "max_connections_per_user", "max_pending_service_starts", "max_names_per_connection",
          "max_match_rules_per_connection", "max_replies_per_connection"})
        limits += std::string("  <limit name=\"") + name + "\">100000000</limit>\n";
    return "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
           " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig>\n"
           "  <type>session</type>\n"
           "  <listen>unix:tmpdir=" +
           folder +
           "</listen>\n"
           "  <policy context=\"default\">\n"
           "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
           "    <allow eavesdrop=\"true\"/>\n"
           "    <allow own=\"*\"/>\n"
           "  </policy>\n" +
           limits + "  <limit name=\"max_message_size\">33554432</limit>\n" + "</busconfig>\n";
}

/// Becomes the bus. After a fork nothing but system calls is safe, so that all texts are made before.
[[noreturn]] void BecomeBus(const char* configuration, const char* printAddress) {
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    execlp("dbus-daemon", "dbus-daemon", "--nofork", "--nosyslog", configuration, printAddress, nullptr);
    _exit(127);
}

/// The address that the bus prints when it is ready; empty when it ends instead.
std::string ReadLine(int descriptor) {
    std::string line;
    for (char letter = 0; read(descriptor, &letter, 1) == 1 && letter != '\n';)
        line += letter;
    return line;
}

} // namespace

PrivateBus& PrivateBus::Instance() {
    static PrivateBus bus;
    return bus;
}

PrivateBus::PrivateBus() {
    const std::string file = _folder.Write("bus.conf", Configuration(_folder.Path()));
    int ends[2];
    if (pipe(ends) < 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    const std::string configuration = "--config-file=" + file;
    const std::string printAddress = "--print-address=" + std::to_string(ends[1]);
    _process = fork();
    if (_process == 0)
        BecomeBus(configuration.c_str(), printAddress.c_str());
    close(ends[1]);
    _address = ReadLine(ends[0]);
    close(ends[0]);
    if (_address.empty())
        throw std::runtime_error("dbus-daemon did not start");
    setenv("DBUS_SESSION_BUS_ADDRESS", _address.c_str(), 1);
    unsetenv("XDG_RUNTIME_DIR");
}

PrivateBus::~PrivateBus() {
    kill(_process, SIGKILL);
    waitpid(_process, nullptr, 0);
}

} // namespace Testing
