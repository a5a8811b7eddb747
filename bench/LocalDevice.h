#pragma once

#include "device/ManagedDevice.h"

#include <semaphore>

namespace Bench {

/// A device of the service's library in this process, without a bus.
class LocalDevice {
public:
    explicit LocalDevice(const std::string& cardFolder);
    LocalDevice(const LocalDevice&) = delete;
    LocalDevice& operator=(const LocalDevice&) = delete;
    ~LocalDevice();

    /// Finds the jobs of the card, and waits for the end. Throws std::runtime_error unless there are that many.
    void Index(size_t jobs);
    /// Has the service begin to find the jobs. WaitForIdle() ends it. Throws std::runtime_error.
    void StartIndexing();
    void WaitForFirstJob() const;
    void WaitForIdle() { _isDone.acquire(); }
    /// Searches all jobs for what none of them holds, and waits for the end. Throws std::runtime_error for a hit.
    void SearchInVain();
    /// Searches all jobs for what each of them holds. Throws std::runtime_error unless all are hits.
    void SearchForAll();
    /// On the worker thread, waiting for the end. Throw std::runtime_error when a job could not be copied or deleted.
    void CopyAllJobsTo(LocalDevice& destination);
    void MoveAllJobsTo(LocalDevice& destination);
    void DeleteAllJobs();
    // As a client has it opened, closed and read. Throw std::runtime_error.
    void OpenJob(const std::string& id);
    void CloseJob(const std::string& id);
    std::string GetJob(const std::string& id);
    /// The page of 50 with the latest jobs.
    std::string FirstPage() const;
    /// The same jobs, in order.
    std::vector<std::shared_ptr<JobsManagerD::Job>> JobsOfFirstPage() const;

private:
    size_t _Jobs() const;
    void _WaitForTransferTo(LocalDevice& destination, size_t jobs);
    /// Gives the number of hits.
    size_t _Search(const char* field);

    const std::shared_ptr<JobsManagerD::ManagedDevice> _device = std::make_shared<JobsManagerD::ManagedDevice>();
    std::binary_semaphore _isDone{0};
};

} // namespace Bench
