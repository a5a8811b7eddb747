#include "daemon/Program.h"
#include "simulator/CardMaker.h"
#include "simulator/SimulatedUnit.h"
#include "support/BusClient.h"
#include "support/PrivateBus.h"

#include <random>
#include <thread>

namespace Testing {
namespace {

namespace fs = std::filesystem;

constexpr size_t nJobs = 40;

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
        Simulator::MakeCard(front.Path(), {.jobs = nJobs, .mediaPerJob = 4, .mediaFileBytes = 3000});
        for (const std::string& job : front.List())
            whole[job] = Files(front, job);
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
    const bool toBack = method != "DeleteAllJobs";
    std::minstd_rand random(7);
    size_t interrupted = 0;
    for (int round = 0; round < 12 && !front.List().empty(); ++round) {
        std::optional<Program> program(std::in_place);
        ASSERT_EQ(program->WaitForNotification(), "READY=1");
        Listed("back");
        const size_t before = Listed("front");
        ASSERT_GE(before, 1u);
        client.TakeSignals();
        const int32_t code =
            (toBack ? client.Call(method, "front", "back") : client.Call(method, "front")).Read<int32_t>();
        ASSERT_EQ(code, 0);
        // Any moment will do, and each round has another.
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 12000));
        program.reset();
        ASSERT_TRUE(client.WaitUntil([this] { return !client.HasService(); }));

        program.emplace();
        ASSERT_EQ(program->WaitForNotification(), "READY=1");
        const size_t listed[] = {Listed("front"), Listed("back")};
        const std::set<std::string> there[] = {WholeJobs(front), WholeJobs(back)};
        EXPECT_EQ(listed[0], there[0].size()) << "each is listed, and no trash is left";
        EXPECT_EQ(listed[1], there[1].size());
        if (toBack) {
            for (const auto& [job, files] : whole)
                EXPECT_TRUE(there[0].contains(job) || there[1].contains(job)) << job << " is lost";
        }
        interrupted += there[0].size() < before && !there[0].empty() ? 1 : 0;
        if (method == "CopyAllJobs") {
            interrupted += !there[1].empty() && there[1].size() < nJobs ? 1 : 0;
            for (const std::string& job : there[1])
                fs::remove_all(back / job);
        }
    }
    EXPECT_GT(interrupted, 0u) << "no round was cut off in its middle";
}

INSTANTIATE_TEST_SUITE_P(Tasks, KilledTest, testing::Values("DeleteAllJobs", "MoveAllJobs", "CopyAllJobs"));

} // namespace
} // namespace Testing
