#pragma once

#include "codes/ReturnCodes.h"
#include "support/LogCapture.h"
#include "support/RunningService.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace Testing {

using Json = nlohmann::json;
using Texts = std::vector<std::string>;
using CodeAndText = std::tuple<int32_t, std::string>;
using CodeDeviceAndText = std::tuple<int32_t, std::string, std::string>;

/// A job that a test has created.
struct CreatedJob {
    std::string id;
    std::filesystem::path folder;

    std::filesystem::path File() const { return folder / "job.json"; }
    std::filesystem::path Media(const std::string& name) const { return folder / "media" / name; }
};

/// The service with the empty cards "front", which becomes the target, and "back", and what a client does with it.
class ServiceTest : public testing::Test {
protected:
    /// Returns when the cards have been indexed.
    explicit ServiceTest(ServiceOptions options = FrontAndBack());
    static ServiceOptions FrontAndBack();

    Simulator::SimulatedUnit& Unit() { return service.Unit(); }

    template <typename... Arguments>
    Reply Call(const std::string& method, const Arguments&... arguments) {
        return service.Client().Call(method, arguments...);
    }
    /// Of a method that answers `i`.
    template <typename... Arguments>
    int32_t Code(const std::string& method, const Arguments&... arguments) {
        return Call(method, arguments...).template Read<int32_t>();
    }
    /// Of a method that answers `(is)`.
    template <typename... Arguments>
    CodeAndText Text(const std::string& method, const Arguments&... arguments) {
        return Call(method, arguments...).template Read<int32_t, std::string>();
    }

    /// Throws std::runtime_error when the service refuses.
    CreatedJob CreateJob(const std::string& name = "Main Street", const std::string& card = "");
    int32_t OpenJob(const CreatedJob& job, const std::string& card = "");
    int32_t CloseJob() { return std::get<0>(Text("CloseJob")); }

    static void Write(const std::filesystem::path& path, const std::string& text);
    static std::string Read(const std::filesystem::path& path);
    /// The job file on the card.
    static Json JobFile(const CreatedJob& job) { return Json::parse(Read(job.File())); }
    static void EditJobFile(const CreatedJob& job, const std::function<void(Json&)>& edit);

    /// Writes a picture of that many bytes into the current job and registers it. Gives the ID of the media item.
    std::string AddSnapshot(const CreatedJob& job, const std::string& name, size_t size = 5);
    std::string MediaID(const std::filesystem::path& path) { return std::get<1>(Text("GetMediaID", path.string())); }

    /// What the service has sent since the last look, a line per signal: "front JobChanged",
    /// "front CurrentJobID=5 JobListStatus=true", "manager TargetDeviceID=back", "manager InterfacesAdded back".
    Texts Traffic();
    /// The same, waiting for the end of the card's index run, without what that tells.
    Texts TrafficBesideIndexing(const std::string& card);
    /// The write-active calls since the last look: "front on", "front off".
    Texts WriteActive();
    void ForgetTraffic() {
        Traffic();
        WriteActive();
        LogCapture::Take();
    }

    /// Waits until the service has dealt with all that the storage service, or the settings service, told before.
    void SettleStorage();
    void SettleSettings();

    /// Whether the log holds the line, or, of the error lines beside those of the missing GPS receiver, exactly these.
    static testing::AssertionResult Logged(int priority, const std::string& text);
    static Texts Errors();

    RunningService service;
    size_t settled = 0;
};

} // namespace Testing
