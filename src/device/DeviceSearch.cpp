#include "device/DeviceSearch.h"

#include "device/JsonPage.h"
#include "device/ReadAhead.h"
#include "device/RunningTask.h"
#include "fsutil/Paths.h"
#include "fsutil/Times.h"
#include "jobs/Json.h"
#include "jobs/JsonText.h"

#include <span>
#include <system_error>
#include <thread>

using Locks::LockGuard;

namespace JobsManagerD {
namespace {

/// A full card of ordinary hits takes a quarter of this. A card of huge texts must not take the memory of the unit.
constexpr size_t largestResults = size_t{128} * 1024 * 1024;

/// A result is the summary of the job and the place of the hit, which is JSON.
std::string ResultText(const Job& job, const std::string& match) {
    JsonText text;
    text.BeginObject();
    job.WriteSummaryMembers(text, JSON_MODE_CLIENT);
    text.Key("matchResult");
    text.Json(match);
    text.EndObject();
    return text.Take();
}

JobSearch::Outcome LookInto(const Job& job, const JobFiles& files, const JobSearch& search) {
    thread_local JobText file;
    const std::string path = job.JobFilePath();
    if (GetPathExtension(path) != "json" || files.ReadBytes(path, file) != JOBFILE_OP_SUCCEEDED)
        return {JobSearch::Verdict::undecided, {}};
    JobSearch::Outcome outcome = search.LookInto(file.text);
    file.Drop();
    return outcome;
}

} // namespace

jobsDaemonRtn_e DeviceSearch::Start(JobSearch search, SearchRequest request, Device device) {
    const std::shared_ptr<const void> owner = device.owner;
    const std::shared_ptr<Run> run(new Run{std::move(search), request.matchLimit, std::move(device)});
    const LockGuard completion(_completionMutex);
    const LockGuard lock(_mutex);
    if (_isStopped || (!_hasThread && !_StartThread(owner)))
        return JOBS_RTN_DEVICE_BUSY;
    if (_run)
        _run->searchCancel = true;
    _run = _next = run;
    _request = std::move(request);
    _searchResults = {};
    _resultBytes = 0;
    return JOBS_RTN_SUCCEEDED;
}

bool DeviceSearch::_StartThread(std::shared_ptr<const void> owner) {
    try {
        std::thread([this, owner = std::move(owner), running = std::make_unique<RunningTask>()] {
            _RunAll();
        }).detach();
    } catch (const std::system_error& error) {
        syslog(LOG_ERR, "DeviceSearch::Start - no thread to be had: %s", error.what());
        return false;
    }
    return _hasThread = true;
}

void DeviceSearch::Stop(std::function<void()> whenDone) {
    {
        const LockGuard lock(_mutex);
        _isStopped = true;
        _next = nullptr;
        if (_run)
            _run->searchCancel = true;
        if (_hasThread) {
            _whenDone.push_back(std::move(whenDone));
            return;
        }
    }
    whenDone();
}

void DeviceSearch::_RunAll() {
    while (const std::shared_ptr<Run> run = _NextRun())
        _SearchJobsTask(*run);
    std::vector<std::function<void()>> whenDone;
    {
        const LockGuard lock(_mutex);
        whenDone.swap(_whenDone);
    }
    for (const std::function<void()>& call : whenDone)
        call();
}

/// Null when the thread is to end.
std::shared_ptr<DeviceSearch::Run> DeviceSearch::_NextRun() {
    const LockGuard lock(_mutex);
    _hasThread = _next != nullptr;
    if (!_hasThread)
        _run = nullptr;
    return std::exchange(_next, nullptr);
}

void DeviceSearch::_SearchJobsTask(Run& run) {
    timeval timer{};
    gettimeofday(&timer, nullptr);
    try {
        _SearchAll(run);
    } catch (const std::exception& exception) {
        syslog(LOG_ERR, "ManagedDevice::_SearchJobsTask - %s", exception.what());
    }
    const LockGuard completion(_completionMutex);
    if (run.searchCancel)
        return;
    run.device.tellComplete();
    syslog(LOG_INFO, "---------------------------------");
    syslog(LOG_INFO, "Search took %fs", GetElapsedTime(timer, false));
    syslog(LOG_INFO, "---------------------------------");
}

void DeviceSearch::_SearchAll(Run& run) {
    const std::vector<JobList::Entry> jobs = run.device.newestFirst();
    // Looked into some jobs ahead, without a word in the log: what stays undecided is searched in its turn.
    ReadAhead<JobSearch::Outcome> outcomes(jobs.size(), run.searchCancel, [&jobs, &run](size_t number) {
        return LookInto(*jobs[number], run.device.files, run.search);
    });
    for (const JobList::Entry& job : jobs) {
        std::optional<JobSearch::Outcome> outcome = outcomes.Next();
        if (!outcome)
            break;
        std::optional<std::string> match;
        if (outcome->verdict == JobSearch::Verdict::found)
            match = std::move(outcome->match);
        else if (outcome->verdict == JobSearch::Verdict::undecided)
            match = SearchJob(run, *job);
        if (match && !_AddResult(run, ResultText(*job, *match)))
            return;
    }
    const LockGuard lock(_mutex);
    if (run.searchCancel && _run.get() == &run)
        _searchResults = {};
}

/// The place of the hit, or nothing.
std::optional<std::string> DeviceSearch::SearchJob(const Run& run, const Job& job) const try {
    const JobFiles& files = run.device.files;
    if (job.IsLegacy() || files.CheckFormat(job, "SearchJob") != JOBS_RTN_SUCCEEDED)
        return std::nullopt;
    nlohmann::json document;
    const jobFileOpRtn_e result = files.ExtractJson(job, document);
    if (result == JOBFILE_OP_SUCCEEDED)
        return run.search.FindIn(document);
    syslog(LOG_ERR, "ManagedDevice::SearchJob - Failed to parse job file %s : %s", job.JobFilePath().c_str(),
           JobFileOpText(result));
    return std::nullopt;
} catch (const std::exception& exception) {
    // A file may hold anything; the search goes on without it.
    syslog(LOG_ERR, "ManagedDevice::SearchJob - %s: %s", job.JobFilePath().c_str(), exception.what());
    return std::nullopt;
}

/// False when the search is to end.
bool DeviceSearch::_AddResult(const Run& run, std::string result) {
    const LockGuard lock(_mutex);
    if (_run.get() != &run)
        return false;
    if (_resultBytes + result.size() > largestResults) {
        syslog(LOG_WARNING, "ManagedDevice::_SearchJobsTask - Results too large: the search ends after %zu of them",
               _searchResults.size());
        return false;
    }
    _resultBytes += result.size();
    _searchResults.push_back(std::move(result));
    return run.matchLimit == 0 || _searchResults.size() != run.matchLimit;
}

std::string DeviceSearch::StatsJSONstring() const {
    const LockGuard lock(_mutex);
    JsonText text;
    text.BeginObject();
    text.Member("caseSensitive", _request.term.isCaseSensitive);
    text.Key("field");
    text.Json(_request.field);
    text.Member("matchCriterion", MatchCriterionText(_request.term.criterion));
    text.Member("matchLimit", _request.matchLimit);
    text.Member("nMatches", _searchResults.size());
    text.EndObject();
    return text.Take();
}

jobsDaemonRtn_e DeviceSearch::ResultsJSONstring(uint16_t startIdx, uint16_t& limit, std::string& text) const {
    const LockGuard lock(_mutex);
    if (IsOutOfRange(startIdx, _searchResults.size())) {
        syslog(LOG_ERR, "%s startIdx %u out of range - search results has %u entries", "GetSearchResultsJSONstring",
               startIdx, static_cast<unsigned>(_searchResults.size()));
        return JOBS_RTN_INVALID_RANGE;
    }
    const auto page = std::span(_searchResults).subspan(startIdx, PageSize(startIdx, limit, _searchResults.size()));
    limit = static_cast<uint16_t>(page.size());
    return JoinPage(
        page, [](const std::string& result) -> const std::string& { return result; }, text);
}

} // namespace JobsManagerD
