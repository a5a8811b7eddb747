#include "bench/LocalDevice.h"

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <thread>

using namespace JobsManagerD;
using nlohmann::json;

namespace Bench {
namespace {

void Require(bool isSo, const char* message) {
    if (!isSo)
        throw std::runtime_error(message);
}

} // namespace

LocalDevice::LocalDevice(const std::string& cardFolder) {
    _device->SetDeviceId("card");
    _device->SetStoragePath("");
    _device->SetMountPoint(cardFolder);
    _device->_deviceStateUpdate.Connect([this](ManagedDevice& device) {
        if (device.GetState() == DEVICE_STATE_IDLE)
            _isDone.release();
    });
    _device->_jobSearchComplete.Connect([this](ManagedDevice&) { _isDone.release(); });
}

LocalDevice::~LocalDevice() {
    std::binary_semaphore isGone{0};
    _device->Cancel([&isGone] { isGone.release(); });
    isGone.acquire();
}

void LocalDevice::Index(size_t jobs) {
    StartIndexing();
    WaitForIdle();
    Require(_Jobs() == jobs, "not all jobs were found");
}

void LocalDevice::StartIndexing() { Require(_device->FindDeviceJobs() == JOBS_RTN_SUCCEEDED, "the device is busy"); }

void LocalDevice::WaitForFirstJob() const {
    while (_Jobs() == 0)
        std::this_thread::sleep_for(std::chrono::microseconds(50));
}

void LocalDevice::CopyAllJobsTo(LocalDevice& destination) {
    const size_t expected = destination._Jobs() + _Jobs();
    Require(_device->CopyAllJobs(*destination._device) == JOBS_RTN_SUCCEEDED, "a device is busy");
    _WaitForTransferTo(destination, expected);
}

void LocalDevice::MoveAllJobsTo(LocalDevice& destination) {
    const size_t expected = destination._Jobs() + _Jobs();
    Require(_device->MoveAllJobs(*destination._device) == JOBS_RTN_SUCCEEDED, "a device is busy");
    _WaitForTransferTo(destination, expected);
    Require(_Jobs() == 0, "not all jobs were moved");
}

void LocalDevice::_WaitForTransferTo(LocalDevice& destination, size_t jobs) {
    WaitForIdle();
    destination.WaitForIdle();
    Require(destination._Jobs() == jobs, "not all jobs have arrived");
}

void LocalDevice::OpenJob(const std::string& id) {
    Require(_device->OpenJob(id, false) == JOBS_RTN_SUCCEEDED, "the job cannot be opened");
}

void LocalDevice::CloseJob(const std::string& id) {
    Require(_device->CloseJob(id) == JOBS_RTN_SUCCEEDED, "the job cannot be closed");
}

std::string LocalDevice::GetJob(const std::string& id) {
    std::string text;
    Require(_device->GetJobJSONstring(id, text) == JOBS_RTN_SUCCEEDED, "the job cannot be read");
    return text;
}

void LocalDevice::DeleteAllJobs() {
    Require(_device->DeleteAllJobs() == JOBS_RTN_SUCCEEDED, "the device is busy");
    _isDone.acquire();
    Require(_Jobs() == 0, "not all jobs were deleted");
}

size_t LocalDevice::_Jobs() const { return json::parse(_device->GetJobListStatsJSONstring())["nRuvoJobs"]; }

size_t LocalDevice::_Search(const char* field) {
    Require(_device->SearchJobs(field, {}, 0) == JOBS_RTN_SUCCEEDED, "the search is refused");
    _isDone.acquire();
    return json::parse(_device->GetSearchStatsJSONstring())["nMatches"];
}

void LocalDevice::SearchInVain() { Require(_Search(R"("zebra crossing")") == 0, "a hit"); }

void LocalDevice::SearchForAll() { Require(_Search(R"("run ")") == _Jobs(), "not all jobs are hits"); }

std::string LocalDevice::FirstPage() const {
    std::string text;
    uint16_t limit = 50;
    Require(_device->GetJobListSummariesJSONstring(0, 0, 0, limit, text) == JOBS_RTN_SUCCEEDED, "no page");
    return text;
}

std::vector<std::shared_ptr<Job>> LocalDevice::JobsOfFirstPage() const {
    std::vector<std::shared_ptr<Job>> jobs;
    for (const json& summary : json::parse(FirstPage()))
        jobs.push_back(_device->FindJob(summary["id"]));
    return jobs;
}

} // namespace Bench
