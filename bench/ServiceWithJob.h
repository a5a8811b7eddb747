#pragma once

#include "bench/Process.h"
#include "simulator/Handles.h"
#include "support/TemporaryFolder.h"

#include <memory>
#include <string>

namespace Bench {

inline constexpr const char* cardId = "usb1";
inline constexpr const char* jobsName = "com.corvane.common.JobsManagerDaemon1";
inline constexpr const char* jobsPath = "/com/corvane/common/JobsManagerDaemon1";

/// The simulated unit with two cards, as a process on the private bus, from the first use to the end.
class Peers {
public:
    static Peers& Instance();
    const Testing::TemporaryFolder& Folder() const { return _folder; }
    std::string CardFolder() const { return _folder / cardId; }
    void EmptyCard() const;

private:
    Peers();

    Testing::TemporaryFolder _folder;
    std::unique_ptr<Process> _unit;
};

/// A connection to the private bus. Throws std::system_error.
Simulator::Connection OpenBus();

/// Starts a program and waits until it is ready.
std::unique_ptr<Process> StartAndWait(const std::vector<std::string>& command);

/// An object of a service, called over an open connection. What fails throws std::system_error.
class Remote {
public:
    Remote(sd_bus* bus, const std::string& service, const std::string& path, const std::string& interface)
        : _bus(bus), _service(service), _path(path), _interface(interface) {}

    /// Calls a method with arguments as sd_bus_message_append takes them, and waits for the reply.
    template <typename... Arguments>
    Simulator::Message Call(const char* method, const char* signature, Arguments... arguments) const {
        Simulator::Message reply;
        Simulator::Check(sd_bus_call_method(_bus, _service.c_str(), _path.c_str(), _interface.c_str(), method, nullptr,
                                            Simulator::Out(reply), signature, arguments...),
                         method);
        return reply;
    }

private:
    sd_bus* const _bus;
    const std::string _service;
    const std::string _path;
    const std::string _interface;
};

/// The jobs service with a job file of about 12 kB, the job being open, and the bare service beside it.
class ServiceWithJob {
public:
    ServiceWithJob();

    const Remote& Service() const { return _jobs; }
    const Remote& Bare() const { return _bare; }
    /// The storage object of the card.
    const Remote& Storage() const { return _storage; }
    const std::string& JobId() const { return _jobId; }
    const std::string& JobFile() const { return _jobFile; }

private:
    void _MakeJob();
    void _AddMedia();

    Peers& _peers;
    std::unique_ptr<Process> _processes[2];
    Simulator::Connection _bus;
    const Remote _jobs;
    const Remote _bare;
    const Remote _storage;
    std::string _jobId;
    std::string _jobFile;
};

/// The code of a reply `i` or `(is)`.
int32_t ReadCode(sd_bus_message* reply);
/// Throws std::runtime_error for a code other than 0.
void RequireSuccess(int32_t code);

/// Tells the storage service as the jobs service does around every save.
void SetWriteActive(const Remote& storage, bool isActive);

} // namespace Bench
