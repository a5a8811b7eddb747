#include "bench/ServiceWithJob.h"

#include "support/PrivateBus.h"

#include <filesystem>
#include <nlohmann/json.hpp>
#include <thread>

using Simulator::Check;
using Simulator::Connection;
using Simulator::Out;

namespace Bench {
namespace {

constexpr const char* storageName = "com.corvane.common.StorageDaemon1";
constexpr const char* storagePath = "/com/corvane/common/StorageDaemon1/usb1";
constexpr const char* storageDevice = "com.corvane.common.StorageDaemon1.Device";
constexpr uintmax_t jobFileSize = 12'000;

/// The two texts of a reply of code 0.
std::pair<std::string, std::string> ReadTexts(sd_bus_message* reply) {
    int32_t code = -1;
    const char* first = nullptr;
    const char* second = nullptr;
    Check(sd_bus_message_read(reply, "(iss)", &code, &first, &second), "read the reply");
    RequireSuccess(code);
    return {first, second};
}

void WaitForName(const char* name) {
    const Connection bus = OpenBus();
    const Remote busItself(bus.get(), "org.freedesktop.DBus", "/", "org.freedesktop.DBus");
    for (int hasOwner = 0, tries = 0; !hasOwner; ++tries) {
        if (tries == 10'000)
            throw std::runtime_error(std::string(name) + " does not come up");
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        Check(sd_bus_message_read(busItself.Call("NameHasOwner", "s", name).get(), "b", &hasOwner), "read the reply");
    }
}

std::filesystem::path FindJobFile(const std::string& cardFolder) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(cardFolder))
        if (entry.path().filename() == "job.json" || entry.path().filename() == ".job.json")
            return entry.path();
    throw std::runtime_error("there is no job file");
}

} // namespace

Connection OpenBus() {
    Connection bus;
    Check(sd_bus_open_user(Out(bus)), "open the bus");
    return bus;
}

Peers& Peers::Instance() {
    Testing::PrivateBus::Instance();
    static Peers peers;
    return peers;
}

Peers::Peers() {
    std::vector<std::string> command = {TARN_SIMULATED_UNIT};
    for (const char* id : {cardId, "usb2"})
        command.insert(command.end(), {"--card", std::string(id) + "=" + _folder.MakeFolder(id)});
    _unit = std::make_unique<Process>(command);
    WaitForName("com.corvane.common.FileRepairDaemon1");
}

void Peers::EmptyCard() const {
    for (const auto& entry : std::filesystem::directory_iterator(CardFolder()))
        std::filesystem::remove_all(entry);
}

std::unique_ptr<Process> StartAndWait(const std::vector<std::string>& command) {
    const NotifySocket notify(Peers::Instance().Folder() / "notify");
    auto process = std::make_unique<Process>(command);
    notify.WaitForReady();
    return process;
}

void RequireSuccess(int32_t code) {
    if (code != 0)
        throw std::runtime_error("the service answers with code " + std::to_string(code));
}

int32_t ReadCode(sd_bus_message* reply) {
    int32_t code = -1;
    if (sd_bus_message_has_signature(reply, "i"))
        Check(sd_bus_message_read(reply, "i", &code), "read the reply");
    else
        Check(sd_bus_message_read(reply, "(is)", &code, nullptr), "read the reply");
    return code;
}

void SetWriteActive(const Remote& storage, bool isActive) {
    storage.Call("SetWriteActive", "yb", 0, static_cast<int>(isActive));
}

ServiceWithJob::ServiceWithJob()
    : _peers(Peers::Instance()), _bus(OpenBus()), _jobs(_bus.get(), jobsName, jobsPath, jobsName),
      _bare(_bus.get(), "com.corvane.bench.Bare1", "/com/corvane/bench/Bare1", "com.corvane.bench.Bare1"),
      _storage(_bus.get(), storageName, storagePath, storageDevice) {
    _peers.EmptyCard();
    _processes[0] = StartAndWait({TARN_DAEMON});
    _processes[1] = StartAndWait({TARN_BARE_SERVICE});
    _MakeJob();
    while (std::filesystem::file_size(_jobFile) < jobFileSize)
        _AddMedia();
}

void ServiceWithJob::_MakeJob() {
    const auto reply = _jobs.Call("CreateJob", "ss", cardId, "Name 00000000");
    const auto [device, summary] = ReadTexts(reply.get());
    _jobId = nlohmann::json::parse(summary).at("id");
    _jobFile = FindJobFile(_peers.CardFolder());
}

void ServiceWithJob::_AddMedia() {
    const auto reply = _jobs.Call("GetNewMediaPathComponents", "");
    const auto [folder, stem] = ReadTexts(reply.get());
    const std::string image = _peers.Folder().Write(folder + "/" + stem + ".jpg", "image");
    const auto added = _jobs.Call("AddSnapshotMedia", "ssbibibii", "", image.c_str(), 0, 0, 0, 0, 0, 0, 0);
    RequireSuccess(ReadCode(added.get()));
}

} // namespace Bench
