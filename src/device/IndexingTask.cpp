#include "device/JobSettings.h"
#include "device/ManagedDevice.h"
#include "device/ReadAhead.h"
#include "fsutil/FolderReader.h"
#include "fsutil/GuardedFs.h"
#include "fsutil/HiddenFiles.h"
#include "fsutil/Paths.h"
#include "fsutil/Times.h"
#include "jobs/JobFolder.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <ios>
#include <syslog.h>

namespace fs = std::filesystem;

namespace JobsManagerD {
namespace {

constexpr const char* taskName = "_JobIndexingTask";
constexpr const char* dashes = "----------------------------------------------- ";

using IsOfType = bool (*)(const std::string& path, bool& error);

/// Asks the file system only where the listing could not tell.
bool Is(fs::file_type type, const std::string& path, fs::file_type listed, IsOfType ask) {
    if (listed != fs::file_type::none)
        return listed == type;
    bool error = false;
    return ask(path, error) && !error;
}

void LogUnlistable(const char* method, const std::string& path, const std::exception& exception) {
    syslog(LOG_INFO, "%s - directory_iterator threw an exception in %s: %s", method, path.c_str(), exception.what());
}

std::vector<FolderEntry> ListTopLevel(const std::string& mountPoint) {
    std::vector<FolderEntry> items;
    try {
        FolderReader reader(mountPoint);
        while (const FolderEntry* const entry = reader.Next())
            items.push_back(*entry);
    } catch (const std::exception& exception) {
        LogUnlistable(taskName, mountPoint, exception);
    }
    return items;
}

timeval Now() {
    timeval now{};
    gettimeofday(&now, nullptr);
    return now;
}

/// By the name, and for a database of the earlier generation by the flag of its conversion.
bool MayBeJobFile(const std::string& path) {
    const std::string extension = GetPathExtension(path);
    if (extension != "jdb3")
        return extension == "json";
    bool error = false;
    return !TryFsExists(ManagedDevice::_GetConvertedFlagPath(path), error) && !error;
}

/// The summary of one file of a folder, or null.
std::shared_ptr<Job> LoadJobFrom(const JobFiles& files, const std::string& folder, const FolderEntry& entry) {
    const std::string path = PathIn(folder, entry.name);
    if (!Is(fs::file_type::regular, path, entry.type, TryFsIsRegularFile) || !MayBeJobFile(path))
        return nullptr;
    auto job = std::make_shared<Job>(path);
    if (files.LoadSummary(*job) != JOBS_RTN_SUCCEEDED)
        return nullptr;
    bool error = false;
    job->SetSyncStatus(TryFsExists(JobFolder(folder).SyncFlag(), error));
    return job;
}

/// The summary of the first file in a folder that yields one, or null. On any thread.
std::shared_ptr<Job> LoadJobIn(const JobFiles& files, const std::string& folder) {
    try {
        FolderReader reader(folder);
        while (const FolderEntry* const entry = reader.Next())
            if (std::shared_ptr<Job> job = LoadJobFrom(files, folder, *entry))
                return job;
    } catch (const std::exception& exception) {
        LogUnlistable("IndexDirectory", folder, exception);
    }
    return nullptr;
}

/// A job as it was read from its folder, and when.
struct Found {
    std::shared_ptr<Job> job;
    uint64_t readAt = 0;
};

Found ReadFolder(const JobFiles& files, const std::string& folder, const DeviceJobs::Reading& reading) {
    const uint64_t readAt = reading.Now();
    return {LoadJobIn(files, folder), readAt};
}

} // namespace

/// The walk over a card, on the worker thread.
class ManagedDevice::Indexing {
public:
    explicit Indexing(ManagedDevice& device) : _device(device) {}
    void Run();

private:
    void _EmptyTrash() const;
    void _IndexItems(const std::vector<FolderEntry>& items);
    void _LogTimes() const;

    ManagedDevice& _device;
    // In seconds.
    double _listing = 0;
    double _sorting = 0;
    double _searching = 0;
};

jobsDaemonRtn_e ManagedDevice::FindDeviceJobs() {
    syslog(LOG_INFO, "ManagedDevice::FindDeviceJobs Start");
    if (!_worker.IsFree()) {
        syslog(LOG_INFO, "ManagedDevice::FindDeviceJobs Cancelled - Device busy. State: %d", GetState());
        return JOBS_RTN_DEVICE_BUSY;
    }
    if (_PrepareTask() != JOBS_RTN_SUCCEEDED)
        return JOBS_RTN_DEVICE_BUSY;
    SetState(DEVICE_STATE_INDEXING, true);
    _jobs.Clear();
    _worker.Start([this] { Indexing(*this).Run(); });
    return JOBS_RTN_SUCCEEDED;
}

void ManagedDevice::Indexing::Run() {
    syslog(LOG_INFO, "%s Started Job Indexing Task", taskName);
    timeval timer = Now();
    _device._jobListStatsChanged.Raise(_device, false);
    _EmptyTrash();
    std::vector<FolderEntry> items = ListTopLevel(_device.GetMountPoint());
    _listing = GetElapsedTime(timer, true);
    try {
        syslog(LOG_INFO, "%s %d top-level item list built.  Sorting it...", taskName, static_cast<int>(items.size()));
        // All lie in the same folder, so that their names are in the order of their paths.
        std::ranges::sort(items, std::greater(), &FolderEntry::name);
        _sorting = GetElapsedTime(timer, true);
        syslog(LOG_INFO, "%s %d top-level items sorted.  Searching for job files in non-hidden folders...", taskName,
               static_cast<int>(items.size()));
        _IndexItems(items);
    } catch (const std::ios_base::failure& failure) {
        syslog(LOG_INFO, "%s Threw ios_base::failure.  Code %d: %s", taskName, failure.code().value(), failure.what());
    } catch (const std::exception& exception) {
        // A card may hold anything; what was found until then is listed.
        syslog(LOG_ERR, "%s - %s", taskName, exception.what());
    }
    _searching = GetElapsedTime(timer, false);
    _device._jobListStatsChanged.Raise(_device, true);
    if (!_device._worker.IsCancelled())
        _LogTimes();
    _device.SetState(DEVICE_STATE_IDLE, true);
}

/// What an interrupted delete, move or copy left behind is garbage. What still arrives for the card's previous stay
/// here is let in first, so that it is found.
void ManagedDevice::Indexing::_EmptyTrash() const {
    Trash& trash = *_device._card.TrashFolder();
    trash.WaitForArrivalsOfOthers(&_device._card);
    if (!trash.RemoveGarbage())
        syslog(LOG_ERR, "ManagedDevice::_JobIndexingTask - Could not delete trash path: %s", trash.Path().c_str());
}

void ManagedDevice::Indexing::_IndexItems(const std::vector<FolderEntry>& items) {
    const DeviceJobs::Reading reading(_device._jobs);
    const std::string& mountPoint = _device.GetMountPoint();
    ReadAhead<Found> jobs(items.size(), _device._worker.CancelFlag(), [&](size_t number) {
        const std::string path = PathIn(mountPoint, items[number].name);
        const bool isVisible =
            Is(fs::file_type::directory, path, items[number].type, TryFsIsDirectory) && CheckHidden(path) == 0;
        return isVisible ? ReadFolder(_device._card.Files(), path, reading) : Found();
    });
    // Finer than the microseconds of the stages: with a period of 0 each job is reported.
    using Clock = std::chrono::steady_clock;
    Clock::time_point lastReport = Clock::now();
    size_t found = 0;
    size_t lastReported = 0;
    for (size_t processed = 1; processed <= items.size(); ++processed) {
        const std::optional<Found> next = jobs.Next();
        if (!next) {
            syslog(LOG_INFO, "*** Job Indexing cancelled...");
            return;
        }
        if (next->job && _device._TakeFound(next->job, next->readAt, reading, false))
            ++found;
        if (found != lastReported && processed < items.size() &&
            std::chrono::duration<double>(Clock::now() - lastReport).count() > multiJobIndexUpdatePeriod) {
            _device._jobListStatsChanged.Raise(_device, false);
            lastReport = Clock::now();
            lastReported = found;
        }
    }
}

void ManagedDevice::Indexing::_LogTimes() const {
    const DeviceJobs::Counts counts = _device._jobs.Counters();
    syslog(LOG_INFO, "*** Job Indexing complete");
    syslog(LOG_INFO, "%s", dashes);
    syslog(LOG_INFO, "Building top-level folder list took %fs", _listing);
    syslog(LOG_INFO, "Sorting top-level folders took %fs", _sorting);
    syslog(LOG_INFO, "Find and parsing job files & Building _jobList took %fs", _searching);
    syslog(LOG_INFO, "Found %d jobs - %d Tamsy and %d Ruvo", static_cast<int>(_device._jobs.Size()),
           counts.nTamsyJobsAtReIndex, counts.nRuvoJobs);
    syslog(LOG_INFO, "%s", dashes);
}

jobsDaemonRtn_e ManagedDevice::IndexDirectory(const std::string& path, bool emitChanges) {
    const DeviceJobs::Reading reading(_jobs);
    const Found found = ReadFolder(_card.Files(), path, reading);
    if (found.job && emitChanges)
        _CloseInBackground(found.job->Id());
    return found.job && _TakeFound(found.job, found.readAt, reading, emitChanges) ? JOBS_RTN_SUCCEEDED
                                                                                  : JOBS_RTN_JOB_FILE_NOT_FOUND;
}

/// A queried job that is open as a cache gives way to what has arrived on the card.
void ManagedDevice::_CloseInBackground(const std::string& jobID) {
    const std::shared_ptr<Job> listed = FindJob(jobID);
    if (listed && listed->IsOpen() && !IsCurrentJob(jobID))
        CloseJob(listed);
}

/// Lists a job that was read at `readAt`, or its folder as it is now when a client has changed the job since then.
/// False when there is none any more.
bool ManagedDevice::_TakeFound(std::shared_ptr<Job> found, uint64_t readAt, const DeviceJobs::Reading& reading,
                               bool emitChanges) {
    const std::string folder = found->JobFolderPath();
    while (found) {
        {
            const Locks::LockGuard announce(_announceMutex);
            const DeviceJobs::Taken taken = _jobs.TakeFound(found, reading, readAt);
            // News from the card: what an index run has read before is out of date.
            if (emitChanges && taken <= DeviceJobs::Taken::kept)
                _jobs.Changed(found->Id());
            if (taken == DeviceJobs::Taken::listed && emitChanges)
                _jobListStatsChanged.Raise(*this, true);
            if (taken <= DeviceJobs::Taken::refreshed && emitChanges)
                _jobChanged.Raise(*this, found->SummaryJSONstring());
            if (taken != DeviceJobs::Taken::outOfDate)
                return true;
        }
        readAt = reading.Now();
        found = LoadJobIn(_card.Files(), folder);
    }
    return false;
}

} // namespace JobsManagerD
