#include "device/FindingJobsTest.h"

#include <atomic>
#include <cstdlib>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <thread>

using namespace JobsManagerD;
namespace fs = std::filesystem;

namespace Testing {
namespace {

const Texts cards{"front", "back", "third"};

ServiceOptions ThreeCards() {
    ServiceOptions options;
    options.cards = {{"front"}, {"back"}, {"third"}};
    return options;
}

/// Seconds; a longer run is asked for by the environment.
std::chrono::seconds Duration() {
    const char* const asked = std::getenv("TARN_STRESS_SECONDS");
    return std::chrono::seconds(asked ? std::atoi(asked) : 4);
}

/// Clients, cards and tasks, each at its own pace. What was answered 0 is remembered, and looked for at the end.
class StressTest : public FindingJobsTest {
protected:
    StressTest() : FindingJobsTest(ThreeCards()) {
        for (const char* group : {"moved", "copied", "kept"})
            for (int number = 0; number < 6; ++number)
                PutWholeJob(group + std::to_string(number));
        FindJobs();
    }

    void PutWholeJob(const std::string& id) {
        Json document = JobDocument(id);
        document["notes"] = "0";
        PutJob(id, document);
        for (const char* file : {"1", "2", "3"})
            service.Card("front").Write(id + "/media/" + file, Contents(id));
    }
    static std::string Contents(const std::string& id) { return std::string(20000, id.back()); }
    static Texts Ids(const std::string& group) {
        Texts ids;
        for (int number = 0; number < 6; ++number)
            ids.push_back(group + std::to_string(number));
        return ids;
    }

    using Random = std::minstd_rand;
    static const std::string& AnyCard(Random& random) { return cards[random() % cards.size()]; }

    /// Runs `step` again and again on a thread of its own, until the time is over.
    template <typename Step>
    void Actor(Step step) {
        actors.emplace_back([this, step, seed = static_cast<unsigned>(actors.size() + 1)] {
            Random random(seed);
            while (!isOver)
                step(random);
        });
    }

    /// Changes the notes of a job wherever it is. They count upwards.
    void Edit(Random& random, const std::string& id) {
        const int number = ++attempted[id];
        const std::string& card = id.starts_with("moved") ? AnyCard(random) : cards[0];
        if (Code("SetJobNotes", card, id, std::to_string(number)) == JOBS_RTN_SUCCEEDED)
            acknowledged[id] = number;
    }
    /// A job of one's own, with a photo, that is edited and then deleted or kept.
    void Make(Random& random) {
        const std::string& card = AnyCard(random);
        const auto [code, device, summary] =
            Call("CreateJob", card, "Made " + std::to_string(++made)).Read<int32_t, std::string, std::string>();
        if (code != JOBS_RTN_SUCCEEDED)
            return;
        const std::string id = Json::parse(summary).at("id");
        jobsMade[id] = card;
        const std::string notes = "of " + id;
        if (Code("SetJobNotes", card, id, notes) == JOBS_RTN_SUCCEEDED)
            notesOfMade[id] = notes;
        const fs::path photo = fs::path(std::get<1>(Text("GetJobFolderPath", card, id))) / "media/photo.jpg";
        if (fs::exists(photo.parent_path())) {
            Write(photo, "12345");
            const int32_t added = Code("AddSnapshotMedia", "Photo", photo.string(), false, 0, false, 0, false, 0, 0);
            if (added == JOBS_RTN_SUCCEEDED)
                withPhoto.insert(id);
        }
        CloseJob();
        if (random() % 2 == 0 && Code("DeleteJob", card, id) == JOBS_RTN_SUCCEEDED)
            jobsMade.erase(id);
    }

    /// The jobs that lie on the card, by their folders.
    std::map<std::string, fs::path> OnCard(const std::string& card) {
        std::map<std::string, fs::path> jobs;
        for (const std::string& name : service.Card(card).List()) {
            if (name.starts_with("."))
                continue;
            const std::string id = Json::parse(service.Card(card).Read(name + "/job.json"))["id"];
            EXPECT_TRUE(jobs.emplace(id, service.Card(card) / name).second) << name << " is there twice";
        }
        return jobs;
    }
    std::set<std::string> ListedOn(const std::string& card) {
        std::set<std::string> ids;
        for (const Json& summary :
             Json::parse(std::get<1>(Text("GetJobList", card, uint8_t{2}, uint8_t{0}, uint16_t{0}, uint16_t{0}))))
            EXPECT_TRUE(ids.insert(summary["id"]).second) << summary << " is listed twice";
        return ids;
    }
    void AwaitIdle() {
        SettleStorage();
        for (const std::string& card : cards)
            ASSERT_TRUE(service.WaitForDeviceProperty(card, "DeviceState", "Idle"));
    }

    void ExpectListsToEqualCards() {
        for (const std::string& card : cards) {
            SCOPED_TRACE(card);
            std::set<std::string> there;
            for (const auto& [id, folder] : OnCard(card))
                there.insert(id);
            EXPECT_EQ(ListedOn(card), there);
            const Json stats = Json::parse(std::get<1>(Text("GetJobListStats", card)));
            EXPECT_EQ(stats["nRuvoJobs"], there.size());
            EXPECT_EQ(stats["nTamsyJobs"], 0);
            EXPECT_FALSE(service.Card(card).Exists(".DeletedJobs"));
        }
    }
    void ExpectJobsToBeWhole() {
        std::map<std::string, int> newest;
        for (const std::string& card : cards)
            for (const auto& [id, folder] : OnCard(card)) {
                if (jobsMade.contains(id))
                    continue;
                SCOPED_TRACE(card + " " + id);
                EXPECT_EQ(std::get<0>(Text("GetJob", card, id)), JOBS_RTN_SUCCEEDED);
                for (const char* file : {"1", "2", "3"})
                    EXPECT_EQ(Read(folder / "media" / file), Contents(id));
                newest[id] = std::max(newest[id], std::stoi(JobFile({id, folder})["notes"].get<std::string>()));
            }
        for (const auto& [id, number] : acknowledged) {
            EXPECT_TRUE(newest.contains(id)) << id << " is lost";
            EXPECT_GE(newest[id], number) << id << " has lost a change";
        }
        for (const std::string& id : Ids("moved"))
            EXPECT_TRUE(newest.contains(id)) << id << " is lost";
    }
    void ExpectMadeJobsToBeThere() {
        for (const auto& [id, card] : jobsMade) {
            const auto there = OnCard(card);
            ASSERT_TRUE(there.contains(id)) << id << " on " << card;
            const Json document = JobFile({id, there.at(id)});
            const auto notes = notesOfMade.find(id);
            EXPECT_TRUE(notes == notesOfMade.end() || document["notes"] == notes->second) << id;
            EXPECT_TRUE(!withPhoto.contains(id) || document["media"].size() == 1) << id;
        }
    }

    std::atomic<bool> isOver{false};
    std::vector<std::thread> actors;

    // The editor's, and read when it has ended.
    std::map<std::string, int> attempted;
    std::map<std::string, int> acknowledged;
    // The maker's.
    int made = 0;
    std::map<std::string, std::string> jobsMade;
    std::map<std::string, std::string> notesOfMade;
    std::set<std::string> withPhoto;
};

TEST_F(StressTest, WhatWasAnsweredHoldsWhateverElseHappens) {
    Actor([this](Random& random) {
        const std::string group = random() % 2 == 0 ? "moved" : "copied";
        Edit(random, group + std::to_string(random() % 6));
    });
    Actor([this](Random& random) { Make(random); });
    Actor([this](Random& random) {
        const size_t from = random() % cards.size();
        const std::string& source = cards[from];
        const std::string& destination = cards[(from + 1 + random() % 2) % cards.size()];
        switch (random() % 6) {
        case 0:
            return void(Code("MoveJobList", source, destination, Ids("moved")));
        case 1:
            return void(Code("MoveJob", source, destination, "moved" + std::to_string(random() % 6)));
        case 2:
            return void(Code("CopyJobList", "front", random() % 2 == 0 ? "back" : "third", Ids("copied")));
        case 3:
            return void(Code("DeleteJobList", random() % 2 == 0 ? "back" : "third", Ids("copied")));
        case 4:
            return void(Code("CancelCMD", AnyCard(random)));
        default:
            return void(Text("GetJobList", AnyCard(random), uint8_t{0}, uint8_t{0}, uint16_t{0}, uint16_t{5}));
        }
    });
    Actor([this](Random& random) {
        Code("FindJobs", AnyCard(random));
        Text("GetJob", AnyCard(random), "kept" + std::to_string(random() % 6));
    });
    Random random(99);
    const auto end = std::chrono::steady_clock::now() + Duration();
    while (std::chrono::steady_clock::now() < end) {
        const std::string& card = AnyCard(random);
        service.PullCard(card);
        service.InsertCard(card);
        // Some tasks should come to their end.
        for (int calls = 0; calls < 30; ++calls)
            Call("GetTargetDeviceID");
    }
    isOver = true;
    for (std::thread& actor : actors)
        actor.join();
    AwaitIdle();
    CloseJob();
    {
        SCOPED_TRACE("as it is");
        ExpectListsToEqualCards();
        ExpectJobsToBeWhole();
        ExpectMadeJobsToBeThere();
    }
    service.Stop();
    service.Start();
    AwaitIdle();
    SCOPED_TRACE("after a restart");
    ExpectListsToEqualCards();
    ExpectJobsToBeWhole();
    // It was stressed at all.
    EXPECT_GT(withPhoto.size(), 1u);
    EXPECT_GT(acknowledged.size(), 6u);
}

} // namespace
} // namespace Testing
