#pragma once

#include "jobs/Job.h"

namespace Testing {

/// A media item of that type with all the files it needs, in one second of one day; sizes are 10, 11, and so on.
inline std::shared_ptr<JobsManagerD::Media> SampleMedia(JobsManagerD::mediaType_e type, const std::string& id,
                                                        const std::string& createTime = "2024-05-01T08:10:00Z") {
    auto item = std::make_shared<JobsManagerD::Media>();
    item->type = type;
    item->id = id;
    item->timestamp = {createTime, createTime};
    item->source = {"Reel", "S1", "1.2"};
    for (const JobsManagerD::mediaFileType_e file : JobsManagerD::Media::RequiredFiles(type))
        item->files.push_back({file, id + "-" + JobsManagerD::MediaFileTypeKeyword(file), 10 + item->files.size(),
                               JobsManagerD::MEDIA_FILE_STATE_OK});
    return item;
}

inline JobsManagerD::Contact SampleContact(const std::string& firstName) {
    JobsManagerD::Contact contact;
    contact.names["firstName"] = firstName;
    return contact;
}

/// Sets everything that a job can hold.
inline void FillSampleJob(JobsManagerD::Job& job) {
    using namespace JobsManagerD;
    job.SetSummary({"job-1",
                    "North road",
                    "2.0",
                    {"Reel", "S1", "1.2"},
                    {"2024-05-01T08:00:00Z", "2024-05-02T09:30:00Z"},
                    {"47.50", "-122.25"},
                    JOB_TYPE_VIDEO_INSPECTION,
                    0,
                    {},
                    true});
    JobDetails details;
    details.notes = "Line one\n\"Two\"";
    details.privateNotes = "ab";
    details.address = {{{"city", "Ørsted"}, {"street", "5 Mill Lane"}}, {"1.5", "2.5"}};
    details.customer = {{{{"city", "Port"}}, {}}, 0, 7, {{"home", "555-1"}}, {{"lastName", "Roe"}},
                        {{"site", "roe.example"}}};
    details.contacts = {SampleContact("Ann"), SampleContact("Bo")};
    details.contacts[0].id = 1;
    details.contacts[0].contactSource = companyContactSource;
    details.contacts[1].id = 3;
    details.userData = R"({ "b": [1, null], "a": {"c": "d"} })";
    job.SetDetails(std::move(details));
    job.SetMediaFolder("media");

    const auto video = SampleMedia(MEDIA_TYPE_VIDEO, "m1", "2024-05-01T08:10:00Z");
    video->files.push_back({MEDIA_FILE_MISC_DATA, "sub/extra", 5, MEDIA_FILE_STATE_OK});
    video->userData = "plain words";
    job.AddMediaItem(video);
    const auto image = SampleMedia(MEDIA_TYPE_IMAGE, "m2", "2024-05-01T08:20:00Z");
    image->name = "Joint";
    image->position = {"3.5", "4.5"};
    image->cameraRollAngle = 0;
    image->cameraInclinometerAngle = -12;
    image->distance = {true, 1500, -20};
    image->isIncludedInReport = true;
    image->notes = "Crack";
    image->privateNotes = "xy";
    image->userData = "[1,2]";
    job.AddMediaItem(image);
}

} // namespace Testing
