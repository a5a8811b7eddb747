#include "device/FindingJobsTest.h"
#include "fsutil/WatchedCalls.h"
#include "simulator/LegacyCardMaker.h"

#include <mutex>

using namespace JobsManagerD;
namespace fs = std::filesystem;

namespace Testing {
namespace {

/// What has to be on the medium before the next step, so that a power cut at any moment leaves each job whole.
class SyncOrderTest : public WithWatchedCalls, public FindingJobsTest {
protected:
    /// Each sync from now on as a line: what is synced, by its path on the cards, and which of the paths are there
    /// then.
    void Watch(const Texts& looksAt) {
        lines.clear();
        calls.Watch([this, looksAt](const WatchedCalls::Call& call) {
            if (!call.what.starts_with("sync"))
                return 0;
            std::string line = call.what + " " + Name(call.path) + ":";
            for (const std::string& path : looksAt)
                if (fs::exists(fs::symlink_status(service.Card(path.substr(0, path.find('/'))).Path() /
                                                  path.substr(path.find('/') + 1))))
                    line += " " + path;
            const std::lock_guard lock(mutex);
            lines.push_back(line);
            return 0;
        });
    }
    Texts Lines() {
        calls.Watch({});
        const std::lock_guard lock(mutex);
        return lines;
    }
    std::string Name(const fs::path& path) {
        for (const std::string card : {"front", "back"}) {
            const fs::path relative = path.lexically_relative(service.Card(card).Path());
            if (relative == ".")
                return card;
            if (!relative.empty() && *relative.begin() != "..")
                return card + "/" + relative.string();
        }
        return path;
    }
    void PutWholeJob(const std::string& id) {
        PutJob(id, JobDocument(id));
        service.Card("front").Write(id + "/media/picture.jpg", "12345");
    }
    void AwaitIdle() {
        for (const char* card : {"front", "back"})
            ASSERT_TRUE(service.WaitForDeviceProperty(card, "DeviceState", "Idle"));
    }

    std::mutex mutex; ///< guards lines
    Texts lines;
};

TEST_F(SyncOrderTest, ANewJobIsThereFromItsFileUpToTheCard) {
    Watch({});
    const CreatedJob job = CreateJob("Job", "front");
    const std::string folder = "front/" + job.folder.filename().string();
    EXPECT_EQ(Lines(), (Texts{"sync " + folder + "/job.json:", "sync " + folder + "/media:", "sync " + folder + ":",
                              "sync front:"}));
    Watch({folder + "/job.json.bak"});
    EXPECT_EQ(Code("SetJobNotes", "", "", "changed"), 0);
    EXPECT_EQ(Lines(), (Texts{"sync " + folder + "/job.json.bak: " + folder + "/job.json.bak",
                              "sync " + folder + "/job.json: " + folder + "/job.json.bak"}));
}

TEST_F(SyncOrderTest, ADeletedJobHasMovedBeforeItsFilesGo) {
    const std::string there = " front/.DeletedJobs/A/media/picture.jpg";
    for (const char* method : {"DeleteJob", "DeleteAllJobs"}) {
        PutWholeJob("A");
        FindJobs();
        Watch({"front/A", "front/.DeletedJobs/A/media/picture.jpg"});
        EXPECT_EQ(std::string(method) == "DeleteJob" ? Code(method, "front", "A") : Code(method, "front"), 0);
        AwaitIdle();
        EXPECT_EQ(Lines(), (Texts{"sync front:" + there, "sync front/.DeletedJobs/A:" + there,
                                  "sync front/.DeletedJobs:" + there}))
            << method;
        EXPECT_EQ(service.Card("front").List(), Texts{});
    }
}

TEST_F(SyncOrderTest, WhatArrivesIsWholeBeforeItHasItsNameAndBeforeItsSourceGoes) {
    for (const std::string method : {"MoveJob", "CopyJob", "MoveJobList", "CopyAllJobs"}) {
        SCOPED_TRACE(method);
        PutWholeJob("A");
        FindJobs();
        Watch({"front/A", "back/A", "back/.DeletedJobs/A/media/picture.jpg"});
        EXPECT_EQ(method.ends_with("List")   ? Code(method, "front", "back", Texts{"A"})
                  : method.ends_with("Jobs") ? Code(method, "front", "back")
                                             : Code(method, "front", "back", "A"),
                  0);
        AwaitIdle();
        Texts expected{"syncfs back: front/A back/.DeletedJobs/A/media/picture.jpg",
                       "sync back/.DeletedJobs: front/A back/A", "syncfs back: front/A back/A",
                       "sync back/A/job.json: front/A back/A"};
        if (method.starts_with("Move"))
            for (const char* folder : {"front", "front/.DeletedJobs/A", "front/.DeletedJobs"})
                expected.push_back(std::string("sync ") + folder + ": back/A");
        EXPECT_EQ(Lines(), expected);
        EXPECT_EQ(Code("DeleteJob", "back", "A"), 0);
    }
}

TEST_F(SyncOrderTest, AnOldJobHasItsFileBeforeItsFlag) {
    for (const char* method : {"ConvertJobs", "OpenJob"}) {
        Simulator::MakeLegacyCard(service.CardFolder("front"), {.jobs = 1});
        FindJobs();
        const std::string folder = service.Card("front").List().at(0);
        std::string database;
        for (const std::string& name : service.Card("front").List(folder))
            if (name.ends_with(".jdb3"))
                database = name;
        const std::string path = "front/" + folder;
        const std::string file = " " + path + "/job.json";
        const std::string flag = path + "/." + database + "-converted";
        Watch({path + "/job.json", flag});
        if (std::string(method) == "OpenJob")
            EXPECT_EQ(OpenJob({List()[0]["id"], {}}, "front"), 0);
        else
            EXPECT_EQ(Code(method, "front"), 0);
        AwaitIdle();
        Texts order = Lines();
        // The markers of its broken recordings come before all.
        std::erase_if(order, [](const std::string& line) { return line.ends_with(":"); });
        const std::string both = ":" + file + " " + flag;
        EXPECT_EQ(order, (Texts{"sync " + path + "/job.json:" + file, "sync " + path + ":" + file,
                                "sync " + path + "/media" + both, "sync " + path + both, "sync front" + both}))
            << method;
        CloseJob();
        fs::remove_all(service.Card("front") / folder);
    }
}

} // namespace
} // namespace Testing
