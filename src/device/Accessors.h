#pragma once

#include "device/ManagedDevice.h"
#include "jobs/TextFields.h"

#include <memory>
#include <mutex>
#include <string>

namespace JobsManagerD {

/// What accessors share: a job or a media item is found, opened on the way, read or changed, and saved, each step with
/// its log lines.
class ManagedDevice::Accessors {
public:
    /// Name of an accessor, and how its log lines name it.
    struct Names {
        Names(const char* name) : method(name), savedAs(name) {}
        Names(const char* name, const char* saveName) : method(name), savedAs(saveName) {}
        Names(const char* name, LogPrefix logPrefix) : Names(name) {
            if (logPrefix == LogPrefix::none)
                prefix = "";
        }

        const char* method;
        const char* savedAs;
        const char* prefix = "ManagedDevice::";
    };

    /// A job that no task closes as long as this lives, and the item of it that was asked for.
    struct Opened {
        std::shared_ptr<Job> job;
        std::unique_lock<Locks::Mutex> use;
        std::shared_ptr<Media> media;
    };

    explicit Accessors(ManagedDevice& device) : _device(device) {}

    jobsDaemonRtn_e OpenJob(const Names& names, const std::string& jobID, Opened& opened);
    jobsDaemonRtn_e SaveJob(const Names& names, Job& job);
    template <typename Read>
    jobsDaemonRtn_e ReadJob(const Names& names, const std::string& jobID, Read read);
    template <typename Change>
    jobsDaemonRtn_e ChangeJob(const Names& names, const std::string& jobID, Change change);

    /// As a getter finds the item, without a line of its own.
    jobsDaemonRtn_e OpenMedia(const std::string& jobID, const std::string& mediaID, Opened& opened);
    /// As the methods find it that change it.
    jobsDaemonRtn_e OpenMediaToChange(const char* method, const std::string& jobID, const std::string& mediaID,
                                      Opened& opened);
    jobsDaemonRtn_e SaveMedia(const char* method, Job& job);
    template <typename Read>
    jobsDaemonRtn_e ReadMedia(const char* method, const std::string& jobID, const std::string& mediaID, Read read);

private:
    jobsDaemonRtn_e _OpenForUse(Opened& opened);
    jobsDaemonRtn_e _GetMediaItem(const std::string& mediaID, Opened& opened);

    ManagedDevice& _device;
};

} // namespace JobsManagerD
