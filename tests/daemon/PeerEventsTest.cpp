#include "device/ServiceTest.h"

using namespace JobsManagerD;

namespace Testing {
namespace {

using PeerEventsTest = ServiceTest;

TEST_F(PeerEventsTest, ASyncedJobIsFoundByItsFolderAndByItsFile) {
    const CreatedJob job = CreateJob();
    CloseJob();
    for (const std::string& path : {job.folder.string(), job.File().string()}) {
        EditJobFile(job, [&path](Json& document) { document["name"] = "Synced at " + path; });
        ForgetTraffic();
        Unit().Sync().EmitJobFileSynced(path);
        const Signal changed = service.Client().WaitForSignal("JobChanged");
        EXPECT_EQ(Json::parse(changed.arguments.Read<std::string>()).at("name"), "Synced at " + path);
    }
}

TEST_F(PeerEventsTest, WhatIsPlayedOrRecordedInAFolderThatBeginsAlikeIsNotInTheWay) {
    const CreatedJob job = CreateJob();
    const std::string neighbour = job.folder.string() + "0/media/video.mp4";
    for (const char* activity : {"Recording", "PhotoTalk", "AutoLog", "Playback"})
        Unit().Video().Start(activity, neighbour);
    EXPECT_EQ(CloseJob(), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(Code("CopyJob", "front", "back", job.id), JOBS_RTN_SUCCEEDED);
    EXPECT_EQ(Code("DeleteJob", "front", job.id), JOBS_RTN_SUCCEEDED);
}

} // namespace
} // namespace Testing
