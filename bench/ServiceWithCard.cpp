#include "bench/ServiceWithCard.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <unistd.h>

namespace Bench {

ServiceWithCard::ServiceWithCard(const Card& card)
    : _card(card), _peers(Peers::Instance()), _bus(OpenBus()), _jobs(_bus.get(), jobsName, jobsPath, jobsName) {
    _peers.EmptyCard();
    _service = StartAndWait({TARN_DAEMON});
    WaitForIdle();
    std::filesystem::rename(_card.Folder(), _peers.CardFolder());
}

ServiceWithCard::~ServiceWithCard() {
    _service.reset();
    std::filesystem::rename(_peers.CardFolder(), _card.Folder());
    std::filesystem::create_directory(_peers.CardFolder());
}

void ServiceWithCard::FindJobs() const { RequireSuccess(ReadCode(_jobs.Call("FindJobs", "s", cardId).get())); }

bool ServiceWithCard::IsIndexing() const {
    char* state = nullptr;
    const std::string path = std::string(jobsPath) + "/" + cardId;
    const std::string interface = std::string(jobsName) + ".Device";
    Simulator::Check(sd_bus_get_property_string(_bus.get(), jobsName, path.c_str(), interface.c_str(), "DeviceState",
                                                nullptr, &state),
                     "read the state");
    const std::unique_ptr<char, void (*)(void*)> owner(state, std::free);
    return std::string_view(state) == "Indexing";
}

void ServiceWithCard::WaitForIdle() const {
    while (IsIndexing())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

void ServiceWithCard::GetFirstPage() const {
    RequireSuccess(ReadCode(_jobs.Call("GetJobList", "syyqq", cardId, 0, 0, 0, 50).get()));
}

size_t ServiceWithCard::ResidentBytes() const {
    std::ifstream file("/proc/" + std::to_string(_service->Id()) + "/statm");
    size_t all = 0;
    size_t resident = 0;
    if (!(file >> all >> resident))
        throw std::runtime_error("the memory of the service cannot be told");
    return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

} // namespace Bench
