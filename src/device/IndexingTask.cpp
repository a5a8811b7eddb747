#include "device/JobSettings.h"
#include "device/ManagedDevice.h"
#include "device/ReadAhead.h"
#include "fsutil/FolderReader.h"
#include "fsutil/GuardedFs.h"
#include "fsutil/HiddenFiles.h"
#include "fsutil/Paths.h"
#include "fsutil/Times.h"

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

} // namespace

/// How long the stages of an index run took, in seconds.
struct ManagedDevice::IndexTimes {
    double listing = 0;
    double sorting = 0;
    double searching = 0;
};

jobsDaemonRtn_e ManagedDevice::FindDeviceJobs() {
    syslog(LOG_INFO, "ManagedDevice::FindDeviceJobs Start");
    if (_state != DEVICE_STATE_IDLE) {
        syslog(LOG_INFO, "ManagedDevice::FindDeviceJobs Cancelled - Device busy. State: %d", GetState());
        return JOBS_RTN_DEVICE_BUSY;
    }
    SetState(DEVICE_STATE_INDEXING, true);
    {
        // The open job survives, and counts as one of this generation: opening has converted it.
        const std::shared_ptr<Job> current = _CurrentJob();
        const std::lock_guard lock(_jobListMutex);
        _jobList.Clear();
        if (current)
            _jobList.Append(current);
        nRuvoJobs = current ? 1 : 0;
        nTamsyJobs = 0;
        nTamsyJobsAtReIndex = 0;
    }
    _StartWorker([](ManagedDevice& device) { device._JobIndexingTask(); });
    return JOBS_RTN_SUCCEEDED;
}

void ManagedDevice::_JobIndexingTask() {
    syslog(LOG_INFO, "%s Started Job Indexing Task", taskName);
    timeval timer = Now();
    IndexTimes times;
    _jobListStatsChanged.Raise(*this, false);
    _EmptyTrash();
    std::vector<FolderEntry> items = ListTopLevel(_mountPoint);
    times.listing = GetElapsedTime(timer, true);
    try {
        syslog(LOG_INFO, "%s %d top-level item list built.  Sorting it...", taskName, static_cast<int>(items.size()));
        // All lie in the same folder, so that their names are in the order of their paths.
        std::ranges::sort(items, std::greater(), &FolderEntry::name);
        times.sorting = GetElapsedTime(timer, true);
        syslog(LOG_INFO, "%s %d top-level items sorted.  Searching for job files in non-hidden folders...", taskName,
               static_cast<int>(items.size()));
        _IndexItems(items);
    } catch (const std::ios_base::failure& failure) {
        syslog(LOG_INFO, "%s Threw ios_base::failure.  Code %d: %s", taskName, failure.code().value(), failure.what());
    }
    times.searching = GetElapsedTime(timer, false);
    _jobListStatsChanged.Raise(*this, true);
    if (!_cancel)
        _LogIndexTimes(times);
    SetState(DEVICE_STATE_IDLE, true);
}

/// What an interrupted delete, move or copy left behind is garbage.
void ManagedDevice::_EmptyTrash() {
    const std::lock_guard trashLock(_trashMutex);
    const std::string trash = GetTrashPath();
    std::error_code code;
    if (!fs::exists(fs::status(trash, code)))
        return;
    bool error = false;
    if (!TryFsRemoveAll(trash, error) || error)
        syslog(LOG_ERR, "ManagedDevice::_JobIndexingTask - Could not delete trash path: %s", trash.c_str());
}

void ManagedDevice::_IndexItems(const std::vector<FolderEntry>& items) {
    ReadAhead<std::shared_ptr<Job>> jobs(items.size(), [this, &items](size_t number) {
        const std::string path = PathIn(_mountPoint, items[number].name);
        const bool isVisible =
            Is(fs::file_type::directory, path, items[number].type, TryFsIsDirectory) && CheckHidden(path) == 0;
        return isVisible ? _LoadJobIn(path) : nullptr;
    });
    // Finer than the microseconds of the stages: with a period of 0 each job is reported.
    using Clock = std::chrono::steady_clock;
    Clock::time_point lastReport = Clock::now();
    size_t found = 0;
    size_t lastReported = 0;
    for (size_t processed = 1; processed <= items.size(); ++processed) {
        if (_cancel) {
            syslog(LOG_INFO, "*** Job Indexing cancelled...");
            return;
        }
        if (const std::shared_ptr<Job> job = jobs.Next()) {
            _ListFoundJob(job, false);
            ++found;
        }
        if (found != lastReported && processed < items.size() &&
            std::chrono::duration<double>(Clock::now() - lastReport).count() > multiJobIndexUpdatePeriod) {
            _jobListStatsChanged.Raise(*this, false);
            lastReport = Clock::now();
            lastReported = found;
        }
    }
}

void ManagedDevice::_LogIndexTimes(const IndexTimes& times) const {
    size_t jobs = 0;
    {
        const std::lock_guard lock(_jobListMutex);
        jobs = _jobList.Size();
    }
    syslog(LOG_INFO, "*** Job Indexing complete");
    syslog(LOG_INFO, "%s", dashes);
    syslog(LOG_INFO, "Building top-level folder list took %fs", times.listing);
    syslog(LOG_INFO, "Sorting top-level folders took %fs", times.sorting);
    syslog(LOG_INFO, "Find and parsing job files & Building _jobList took %fs", times.searching);
    syslog(LOG_INFO, "Found %d jobs - %d Tamsy and %d Ruvo", static_cast<int>(jobs), nTamsyJobsAtReIndex.load(),
           nRuvoJobs.load());
    syslog(LOG_INFO, "%s", dashes);
}

/// By the name, and for a database of the earlier generation by the flag of its conversion.
bool ManagedDevice::_MayBeJobFile(const std::string& path) {
    const std::string extension = GetPathExtension(path);
    if (extension != "jdb3")
        return extension == "json";
    bool error = false;
    return !TryFsExists(_GetConvertedFlagPath(path), error) && !error;
}

/// The summary of the first file in a folder that yields one, or null. On any thread.
std::shared_ptr<Job> ManagedDevice::_LoadJobIn(const std::string& folder) {
    try {
        FolderReader reader(folder);
        while (const FolderEntry* const entry = reader.Next())
            if (std::shared_ptr<Job> job = _LoadJobFrom(folder, *entry))
                return job;
    } catch (const std::exception& exception) {
        LogUnlistable("IndexDirectory", folder, exception);
    }
    return nullptr;
}

/// The summary of one file of a folder, or null.
std::shared_ptr<Job> ManagedDevice::_LoadJobFrom(const std::string& folder, const FolderEntry& entry) {
    const std::string path = PathIn(folder, entry.name);
    if (!Is(fs::file_type::regular, path, entry.type, TryFsIsRegularFile) || !_MayBeJobFile(path))
        return nullptr;
    auto job = std::make_shared<Job>(path);
    if (_LoadJobSummary(*job) != JOBS_RTN_SUCCEEDED)
        return nullptr;
    bool error = false;
    job->SetSyncStatus(TryFsExists(folder + "/syncStat", error));
    return job;
}

jobsDaemonRtn_e ManagedDevice::IndexDirectory(const std::string& path, bool emitChanges) {
    const std::shared_ptr<Job> job = _LoadJobIn(path);
    if (!job)
        return JOBS_RTN_JOB_FILE_NOT_FOUND;
    _ListFoundJob(job, emitChanges);
    return JOBS_RTN_SUCCEEDED;
}

/// The mutex stays held while clients are told, so that they hear of changes in the order in which they were made.
void ManagedDevice::_ListFoundJob(const std::shared_ptr<Job>& job, bool emitChanges) {
    const std::string jobID = job->Id();
    const std::lock_guard lock(_jobListMutex);
    const std::shared_ptr<Job> current = _CurrentJob();
    const bool isCurrent = current && current->Id() == jobID;
    if (const std::shared_ptr<Job> listed = _jobList.Find(jobID)) {
        if (isCurrent)
            return;
        _jobList.Replace(listed, job);
        if (emitChanges)
            _jobChanged.Raise(*this, job->SummaryJSONstring());
        return;
    }
    if (isCurrent)
        current->SetSyncStatus(job->IsSynced());
    _jobList.Append(isCurrent ? current : job);
    if (job->IsLegacy()) {
        ++nTamsyJobs;
        ++nTamsyJobsAtReIndex;
    } else {
        ++nRuvoJobs;
    }
    if (emitChanges) {
        _jobListStatsChanged.Raise(*this, true);
        _jobChanged.Raise(*this, job->SummaryJSONstring());
    }
}

} // namespace JobsManagerD
