#include "bench/ServiceWithJob.h"
#include "simulator/CardMaker.h"
#include "simulator/SimulatedUnit.h"
#include "support/PrivateBus.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <thread>

// Clients that do all sorts of work for a long time, on cards that come and go meanwhile. Whether the service grows by
// it shows in three rests, in which every card is there, empty and idle.

namespace fs = std::filesystem;
using nlohmann::json;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

namespace Bench {
namespace {

constexpr std::array cards = {"usb1", "usb2", "usb3"};
constexpr size_t clients = 3;
/// More are deleted: what the service holds for its jobs is to be the same all the time.
constexpr size_t mostJobs = 200;

// By how much the rest at the end may differ from the one in the middle.
constexpr long memoryMarginPercent = 10;
constexpr long descriptorMargin = 2;
constexpr long threadMargin = 1;

std::string CardPath(const std::string& card) { return std::string(jobsPath) + "/" + card; }

/// One connection with its own calls. What is refused is counted; an error of the bus throws.
class Caller {
public:
    template <typename... Arguments>
    Simulator::Message Ask(const char* method, const char* signature, Arguments... arguments) {
        Simulator::Message reply = _jobs.Call(method, signature, arguments...);
        ++calls;
        return reply;
    }

    template <typename... Arguments>
    int32_t Do(const char* method, const char* signature, Arguments... arguments) {
        const int32_t code = CodeOf(Ask(method, signature, arguments...).get());
        refused += code != 0;
        return code;
    }

    /// Empty when it is refused.
    template <typename... Arguments>
    std::string Text(const char* method, const char* signature, Arguments... arguments) {
        const Simulator::Message reply = Ask(method, signature, arguments...);
        int32_t code = -1;
        const char* text = "";
        Simulator::Check(sd_bus_message_read(reply.get(), "(is)", &code, &text), "read the reply");
        refused += code != 0;
        return code == 0 ? text : "";
    }

    size_t Jobs(const char* card) {
        const std::string stats = Text("GetJobListStats", "s", card);
        return stats.empty() ? 0 : json::parse(stats).at("nRuvoJobs").get<size_t>();
    }

    /// Empty while the card is away.
    std::string State(const char* card) {
        char* state = nullptr;
        const std::string interface = std::string(jobsName) + ".Device";
        if (sd_bus_get_property_string(_bus.get(), jobsName, CardPath(card).c_str(), interface.c_str(), "DeviceState",
                                       nullptr, &state) < 0)
            return "";
        const std::unique_ptr<char, void (*)(void*)> owner(state, std::free);
        return state;
    }

    static inline std::atomic<size_t> calls{0};
    static inline std::atomic<size_t> refused{0};

private:
    static int32_t CodeOf(sd_bus_message* reply) {
        int32_t code = -1;
        const bool isBare = sd_bus_message_has_signature(reply, "i");
        if (!isBare)
            Simulator::Check(sd_bus_message_enter_container(reply, 'r', nullptr), "read the reply");
        Simulator::Check(sd_bus_message_read(reply, "i", &code), "read the reply");
        return code;
    }

    const Simulator::Connection _bus = OpenBus();
    const Remote _jobs{_bus.get(), jobsName, jobsPath, jobsName};
};

/// A client that does one thing after the other, the next one whatever became of the last.
class Client {
public:
    explicit Client(uint_fast32_t seed) : _random(seed) {}

    void Step() {
        const char* const card = cards[_random() % cards.size()];
        const char* const other = cards[_random() % cards.size()];
        _LookAt(card);
        switch (_random() % 16) {
        case 0:
        case 1:
            return _Create(card);
        case 2:
        case 3:
        case 4:
        case 5:
            return _Edit(card);
        case 6:
            _caller.Do("OpenJob", "ss", card, _Id(0));
            return;
        case 7:
            _caller.Do("CloseJob", "");
            return;
        case 8:
            _caller.Do("SearchJobs", "ssyqb", card, _random() % 2 ? R"("Run ")" : R"({"name": "a"})", 0, 0, 0);
            return;
        case 9:
            _caller.Text("GetSearchResults", "sqq", card, 0, 50);
            return;
        case 10:
            _caller.Do("DeleteJob", "ss", card, _Id(0));
            return;
        case 11:
            _caller.Do("DeleteJobList", "sas", card, 3, _Id(1), _Id(2), _Id(3));
            return;
        case 12:
            _caller.Do("CopyJobList", "ssas", card, other, 3, _Id(4), _Id(5), _Id(6));
            return;
        case 13:
            _caller.Do("MoveJobList", "ssas", card, other, 3, _Id(7), _Id(8), _Id(9));
            return;
        case 14:
            return _WorkOnAll(card, other);
        default:
            _caller.Do("CancelCMD", "s", card);
        }
    }

private:
    void _LookAt(const char* card) {
        _ids.clear();
        const std::string page = _caller.Text("GetJobList", "syyqq", card, 0, 0, 0, 50);
        for (const json& summary : page.empty() ? json::array() : json::parse(page))
            _ids.push_back(summary.at("id"));
        std::ranges::shuffle(_ids, _random);
    }

    const char* _Id(size_t number) const { return _ids.empty() ? "no job" : _ids[number % _ids.size()].c_str(); }

    void _Create(const char* card) {
        if (_caller.Jobs(card) > mostJobs) {
            _caller.Do("DeleteAllJobs", "s", card);
            return;
        }
        _caller.Do("CreateJob", "ss", card, "");
        const Simulator::Message reply = _caller.Ask("GetNewMediaPathComponents", "");
        int32_t code = -1;
        const char* folder = "";
        const char* stem = "";
        Simulator::Check(sd_bus_message_read(reply.get(), "(iss)", &code, &folder, &stem), "read the reply");
        if (code != 0)
            return;
        const std::string image = std::string(folder) + "/" + stem + ".jpg";
        std::ofstream(image) << "image";
        _caller.Do("AddSnapshotMedia", "ssbibibii", "", image.c_str(), 0, 0, 0, 0, 0, 0, 0);
    }

    void _Edit(const char* card) {
        const std::string text = std::to_string(_random());
        _caller.Do("SetJobName", "sss", card, _Id(0), ("Job " + text).c_str());
        _caller.Do("SetJobNotes", "sss", card, _Id(1), ("Seen " + text).c_str());
        _caller.Do("SetJobPrivateNotes", "sss", card, _Id(1), text.c_str());
        _caller.Text("GetJob", "ss", card, _Id(0));
    }

    void _WorkOnAll(const char* card, const char* other) {
        switch (_random() % 4) {
        case 0:
            _caller.Do("CopyAllJobs", "ss", card, other);
            return;
        case 1:
            _caller.Do("MoveAllJobs", "ss", card, other);
            return;
        case 2:
            _caller.Do("FindJobs", "s", card);
            return;
        default:
            _caller.Do("DeleteAllJobs", "s", card);
        }
    }

    Caller _caller;
    std::mt19937 _random;
    std::vector<std::string> _ids;
};

/// What the service uses at a rest.
struct Use {
    long kilobytes = 0;
    long descriptors = 0;
    long threads = 0;
};

Use UseOf(pid_t process) {
    const fs::path folder = "/proc/" + std::to_string(process);
    Use use;
    std::ifstream status(folder / "status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmRSS:"))
            use.kilobytes = std::stol(line.substr(6));
        else if (line.starts_with("Threads:"))
            use.threads = std::stol(line.substr(8));
    }
    use.descriptors = std::distance(fs::directory_iterator(folder / "fd"), {});
    if (use.kilobytes == 0)
        throw std::runtime_error("the service has ended");
    return use;
}

class Soak {
public:
    explicit Soak(std::chrono::seconds length) : _length(length) {
        for (const char* card : cards)
            _unit.Storage().InsertCard(card, _folder.MakeFolder(card));
        const NotifySocket notify(_folder / "notify");
        _service = std::make_unique<Process>(std::vector<std::string>{TARN_DAEMON});
        notify.WaitForReady();
    }

    /// True when the service has not grown.
    bool Run() {
        std::puts("| Time | resident kB | descriptors | threads | calls | of them refused | cards gone and back |\n"
                  "|---:|---:|---:|---:|---:|---:|---:|");
        _WorkAndRest(10);
        const Use middle = _WorkAndRest(50);
        const Use end = _WorkAndRest(100);
        const bool isFlat =
            std::labs(end.kilobytes - middle.kilobytes) * 100 <= memoryMarginPercent * middle.kilobytes &&
            std::labs(end.descriptors - middle.descriptors) <= descriptorMargin &&
            std::labs(end.threads - middle.threads) <= threadMargin;
        std::printf("%s: from the middle to the end at most %ld %% of memory, %ld descriptors, %ld threads\n",
                    isFlat ? "flat" : "NOT FLAT", memoryMarginPercent, descriptorMargin, threadMargin);
        return isFlat;
    }

private:
    Use _WorkAndRest(int percent) {
        const Clock::time_point end = _start + _length * percent / 100;
        {
            std::atomic<bool> hasFailed = false;
            std::vector<std::jthread> threads;
            for (size_t i = 0; i < clients; ++i)
                threads.emplace_back([&, seed = _random()] { _UseUntil(end, seed, hasFailed); });
            _ChangeCardsUntil(end);
            threads.clear();
            if (hasFailed)
                throw std::runtime_error("a client has failed");
        }
        _Rest();
        const Use use = UseOf(_service->Id());
        std::printf("| %d %% | %ld | %ld | %ld | %zu | %zu | %zu |\n", percent, use.kilobytes, use.descriptors,
                    use.threads, Caller::calls.load(), Caller::refused.load(), _changes);
        std::fflush(stdout);
        return use;
    }

    static void _UseUntil(Clock::time_point end, uint_fast32_t seed, std::atomic<bool>& hasFailed) try {
        Client client(seed);
        while (Clock::now() < end && !hasFailed)
            client.Step();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "a client: %s\n", failure.what());
        hasFailed = true;
    }

    void _ChangeCardsUntil(Clock::time_point end) {
        while (Clock::now() < end) {
            const char* const card = cards[_random() % cards.size()];
            const bool isPulled = _random() % 4 == 0;
            if (isPulled)
                _unit.Storage().RemoveCard(card);
            else
                _unit.Storage().UnmountCard(card);
            std::this_thread::sleep_for(100ms);
            // The same folders over and over, with other jobs in them.
            if (_random() % 2 == 0)
                Simulator::MakeCard(_folder / card, {.jobs = 60,
                                                     .mediaPerJob = 4,
                                                     .mediaFileBytes = 1'000,
                                                     .withLockedJobs = false,
                                                     .seed = static_cast<uint32_t>(_random() % 8)});
            if (isPulled)
                _unit.Storage().InsertCard(card, _folder / card);
            else
                _unit.Storage().MountCard(card);
            ++_changes;
            std::this_thread::sleep_for(1s);
        }
    }

    /// Empties all cards.
    void _Rest() {
        Caller caller;
        caller.Do("CloseJob", "");
        for (const char* card : cards) {
            _WaitForIdle(caller, card);
            // What lies on the card and is not in the list, because an index run was cancelled, is found first.
            RequireSuccess(caller.Do("FindJobs", "s", card));
            _WaitForIdle(caller, card);
            RequireSuccess(caller.Do("DeleteAllJobs", "s", card));
            _WaitForIdle(caller, card);
            if (const size_t left = caller.Jobs(card); left != 0)
                throw std::runtime_error(std::to_string(left) + " jobs cannot be deleted");
        }
        // Threads end after they have told that they are done.
        std::this_thread::sleep_for(1s);
    }

    static void _WaitForIdle(Caller& caller, const char* card) {
        for (int tries = 0; caller.State(card) != "Idle"; ++tries) {
            if (tries == 6'000)
                throw std::runtime_error(std::string(card) + " stays " + caller.State(card));
            std::this_thread::sleep_for(10ms);
        }
    }

    const Testing::TemporaryFolder _folder;
    Simulator::SimulatedUnit _unit;
    std::unique_ptr<Process> _service;
    const std::chrono::seconds _length;
    const Clock::time_point _start = Clock::now();
    std::mt19937 _random{1};
    size_t _changes = 0;
};

} // namespace
} // namespace Bench

int main(int argc, char** argv) try {
    const long seconds = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 600;
    if (argc > 2 || seconds < 1) {
        std::fprintf(stderr, "Usage: tarn_soak [SECONDS]\n");
        return 2;
    }
    Testing::PrivateBus::Instance();
    return Bench::Soak(std::chrono::seconds(seconds)).Run() ? 0 : 1;
} catch (const std::exception& failure) {
    std::fprintf(stderr, "tarn_soak: %s\n", failure.what());
    return 1;
}
