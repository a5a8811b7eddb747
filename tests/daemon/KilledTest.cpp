#include "daemon/Program.h"
#include "simulator/CardMaker.h"
#include "simulator/SimulatedUnit.h"
#include "support/BusClient.h"
#include "support/PrivateBus.h"

#include <algorithm>
#include <random>
#include <sys/inotify.h>

namespace Testing {
namespace {

namespace fs = std::filesystem;

constexpr size_t nJobs = 40;

/// Waits for jobs that come to a folder, or leave it, by a rename.
class Renames {
public:
    explicit Renames(const fs::path& folder) : _descriptor(inotify_init1(IN_CLOEXEC)) {
        inotify_add_watch(_descriptor, folder.c_str(), IN_MOVED_FROM | IN_MOVED_TO);
    }
    Renames(const Renames&) = delete;
    Renames& operator=(const Renames&) = delete;
    ~Renames() { close(_descriptor); }

    /// False when the deadline passes first.
    [[nodiscard]] bool WaitFor(size_t count) const {
        alignas(inotify_event) char events[4096];
        while (count > 0 && WaitForInput(_descriptor)) {
            const ssize_t length = read(_descriptor, events, sizeof events);
            for (ssize_t at = 0; at < length && count > 0; --count)
                at += static_cast<ssize_t>(sizeof(inotify_event) +
                                           reinterpret_cast<const inotify_event*>(events + at)->len);
        }
        return count == 0;
    }

private:
    const int _descriptor;
};

/// Each file below a folder with its contents.
std::map<std::string, std::string> Files(const TemporaryFolder& card, const std::string& job) {
    std::map<std::string, std::string> files;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(card / job))
        if (entry.is_regular_file())
            files[entry.path().lexically_relative(card / job)] =
                card.Read(entry.path().lexically_relative(card.Path()));
    return files;
}

/// The program, killed in the middle of its work and started again on the same cards.
class KilledTest : public testing::TestWithParam<const char*> {
protected:
    KilledTest() {
        unit.Storage().AddCard("front", front.Path());
        unit.Storage().AddCard("back", back.Path());
        unit.Storage().SetAvailableDevices({"front", "back"});
        FillFront();
        for (const std::string& job : front.List())
            whole[job] = Files(front, job);
    }

    void FillFront() {
        Simulator::MakeCard(front.Path(),
                            {.jobs = nJobs, .mediaPerJob = 4, .mediaFileBytes = 6000, .withLockedJobs = false});
    }

    /// Whether some of the work was done when the program was killed, and some was not.
    static bool IsCutOff(const std::string& method, size_t before, const TemporaryFolder& source,
                         const TemporaryFolder& destination) {
        const auto nJobsOn = [](const TemporaryFolder& card) {
            return static_cast<size_t>(
                std::ranges::count_if(card.List(), [](const std::string& name) { return !name.starts_with("."); }));
        };
        const size_t left = method == "CopyAllJobs" ? before - nJobsOn(destination) : nJobsOn(source);
        return left > 0 && left < before;
    }

    /// Folders of the card that are the jobs they were; anything else visible is a failure.
    std::set<std::string> WholeJobs(const TemporaryFolder& card) {
        std::set<std::string> jobs;
        for (const std::string& name : card.List()) {
            EXPECT_EQ(Files(card, name), whole[name]) << name << " is not whole";
            jobs.insert(name);
        }
        return jobs;
    }

    size_t Listed(const std::string& card) {
        EXPECT_TRUE(client.WaitUntil([this, &card] { return Property(card, "DeviceState") == "Idle"; }));
        return WireValue::parse(Property(card, "JobListStats").get<std::string>()).at("nRuvoJobs");
    }

    WireValue Property(const std::string& card, const std::string& name) {
        return client.GetProperty("/com/corvane/common/JobsManagerDaemon1/" + card,
                                  "com.corvane.common.JobsManagerDaemon1.Device", name);
    }

    TemporaryFolder front;
    TemporaryFolder back;
    std::map<std::string, std::map<std::string, std::string>> whole;
    Simulator::SimulatedUnit unit{PrivateBus::Instance().Address()};
    BusClient client;
};

TEST_P(KilledTest, EveryJobIsWholeAtOnePlaceOrTheOther) {
    const std::string method = GetParam();
    std::minstd_rand random(7);
    size_t interrupted = 0;
    for (int round = 0; round < 6; ++round) {
        if (front.List().empty() && method == "DeleteAllJobs")
            FillFront();
        // Moved jobs move back once all have arrived.
        const bool isBack = front.List().empty();
        const TemporaryFolder& source = isBack ? back : front;
        const TemporaryFolder& destination = isBack ? front : back;
        std::optional<Program> program(std::in_place);
        ASSERT_EQ(program->WaitForNotification(), "READY=1");
        Listed("back");
        Listed("front");
        const size_t before = source.List().size();
        client.TakeSignals();
        {
            const Renames renames(method == "DeleteAllJobs" ? source.Path() : destination.Path());
            const std::string from = isBack ? "back" : "front";
            const std::string to = isBack ? "front" : "back";
            const Reply reply = method == "DeleteAllJobs" ? client.Call(method, from) : client.Call(method, from, to);
            ASSERT_EQ(reply.Read<int32_t>(), 0);
            ASSERT_TRUE(renames.WaitFor(1 + random() % std::min<size_t>(before, 12)));
        }
        program.reset();
        ASSERT_TRUE(client.WaitUntil([this] { return !client.HasService(); }));
        interrupted += IsCutOff(method, before, source, destination) ? 1 : 0;

        program.emplace();
        ASSERT_EQ(program->WaitForNotification(), "READY=1");
        const size_t listed[] = {Listed("front"), Listed("back")};
        const std::set<std::string> there[] = {WholeJobs(front), WholeJobs(back)};
        EXPECT_EQ(listed[0], there[0].size()) << "each is listed, and no trash is left";
        EXPECT_EQ(listed[1], there[1].size());
        if (method != "DeleteAllJobs") {
            for (const auto& [job, files] : whole)
                EXPECT_TRUE(there[0].contains(job) || there[1].contains(job)) << job << " is lost";
        }
        if (method == "CopyAllJobs")
            for (const std::string& job : there[1])
                fs::remove_all(back / job);
    }
    EXPECT_GT(interrupted, 0u) << "no round was cut off in its middle";
}

INSTANTIATE_TEST_SUITE_P(Tasks, KilledTest, testing::Values("DeleteAllJobs", "MoveAllJobs", "CopyAllJobs"));

} // namespace
} // namespace Testing
