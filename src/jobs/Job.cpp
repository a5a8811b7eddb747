#include "jobs/Job.h"

#include "fsutil/Paths.h"
#include "fsutil/Times.h"
#include "jobs/JobFolder.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <syslog.h>

namespace JobsManagerD {
uint64_t TimeSortKey(const std::string& utcTime) {
    constexpr std::string_view form = "dddd-dd-ddTdd:dd:ddZ";
    if (utcTime.size() != form.size())
        return 0;
    // The leading 1 keeps the key above 0.
    uint64_t key = 1;
    for (size_t i = 0; i < form.size(); ++i) {
        const char c = utcTime[i];
        const bool isDigit = c >= '0' && c <= '9';
        if (form[i] == 'd' ? !isDigit : c != form[i])
            return 0;
        if (isDigit)
            key = key * 10 + static_cast<uint64_t>(c - '0');
    }
    return key;
}

Job::Job(std::string jobFilePath) : _jobFilePath(std::move(jobFilePath)) {}

JobSummary Job::Summary() const {
    const std::lock_guard lock(_summaryLock);
    return _summary;
}

void Job::SetSummary(JobSummary summary) {
    ChangeSummary([&summary](JobSummary& present) { present = std::move(summary); });
}

void Job::TakeOver(const Job& found) {
    SetJobFilePath(found.JobFilePath());
    SetSummary(found.Summary());
}

std::string Job::Id() const {
    const std::lock_guard lock(_summaryLock);
    return _summary.id;
}

std::string Job::Version() const {
    const std::lock_guard lock(_summaryLock);
    return _summary.version;
}

bool Job::IsLocked() const {
    const std::lock_guard lock(_summaryLock);
    return _summary.locked;
}

void Job::SetModifiedTime(const std::string& utcTime) {
    ChangeSummary([&utcTime](JobSummary& summary) { summary.timestamp.modifiedTime = utcTime; });
}

std::string Job::JobFilePath() const {
    const std::lock_guard lock(_summaryLock);
    return _jobFilePath;
}

void Job::SetJobFilePath(const std::string& path) {
    const std::lock_guard lock(_summaryLock);
    _jobFilePath = path;
}

std::string Job::JobFolderPath() const { return DirectoryPart(JobFilePath()); }

std::string Job::DefaultMediaFolderPath() const { return JobFolderPath() + "/" + JobFolder::defaultMediaFolder; }

std::string Job::MediaFolderPath() const { return JobFolder(JobFolderPath()).MediaFolder(MediaFolder()); }

std::string Job::GetPathRelativeToMediaFolder(const std::string& path) const {
    const std::string base = MediaFolderPath();
    const bool liesInIt = path.starts_with(base) && (path.size() == base.size() || path[base.size()] == '/');
    if (!liesInIt) {
        syslog(LOG_ERR, "Job::GetPathRelativeToMediaFolder - File path %s is not under mediaFolderPath %s",
               path.c_str(), base.c_str());
        return path;
    }
    // A file needs a name behind the separator: an item without one could be saved but never read back.
    if (path.size() <= base.size() + 1)
        throw std::out_of_range("basic_string::substr: no file name behind the media folder in " + path);
    return path.substr(base.size() + 1);
}

bool Job::IsOnMedium(const std::string& path) const {
    return !path.ends_with('/') && LiesUnder(DirectoryPart(JobFolderPath()), path);
}

bool Job::MayChange(const std::string& path) const {
    std::error_code code;
    const std::filesystem::path card = std::filesystem::weakly_canonical(DirectoryPart(JobFolderPath()), code);
    const std::filesystem::path folder = std::filesystem::weakly_canonical(DirectoryPart(path), code);
    return !code && IsOnMedium(path) && LiesUnder(card, folder / FileName(path));
}

JobDetails& Job::Details() {
    if (!_details)
        _details = std::make_unique<JobDetails>();
    return *_details;
}

const JobDetails& Job::Details() const {
    static const JobDetails none;
    return _details ? *_details : none;
}

void Job::SetDetails(JobDetails details) {
    details.media = std::move(Details().media);
    *_details = std::move(details);
}

void Job::ClearDetails() {
    const std::lock_guard lock(_detailsLock);
    _details.reset();
    _isOpen = false;
}

void Job::ClearAddress() { Details().address = Address(); }

void Job::ClearCustomer() {
    const uint32_t contactSource = Details().customer.contactSource;
    Details().customer = Contact();
    Details().customer.contactSource = contactSource;
}

jobRtn_e Job::AddMediaItem(std::shared_ptr<Media> item) {
    ChangeSummary([&item](JobSummary& summary) {
        addToMediaCounts(summary.mediaCounts, item->type);
        summary.jobSize += item->TotalSize();
        if (!summary.position.IsSet() && item->position.IsSet())
            summary.position = item->position;
    });
    Details().media.push_back(std::move(item));
    return JOB_RTN_SUCCEEDED;
}

std::shared_ptr<Media> Job::GetMediaItem(const std::string& id) const {
    const auto& media = Details().media;
    const auto found = std::ranges::find(media, id, [](const auto& item) -> const std::string& { return item->id; });
    if (found != media.end())
        return *found;
    syslog(LOG_ERR, "Job::GetMediaItem - No Media item found with ID: %s", id.c_str());
    return nullptr;
}

jobRtn_e Job::RemoveMediaItem(const std::string& id) {
    auto& media = Details().media;
    const auto found = std::ranges::find(media, id, [](const auto& item) -> const std::string& { return item->id; });
    if (found == media.end()) {
        syslog(LOG_ERR, "Job::RemoveMediaItem - No Media item found with ID: %s", id.c_str());
        return JOB_RTN_NOT_FOUND;
    }
    const uint64_t size = (*found)->TotalSize();
    const mediaType_e type = (*found)->type;
    ChangeSummary([size, type](JobSummary& summary) {
        summary.jobSize -= std::min(summary.jobSize, size);
        removeFromMediaCounts(summary.mediaCounts, type);
    });
    media.erase(found);
    SetModifiedTime(UtcTimeText());
    return JOB_RTN_SUCCEEDED;
}

std::vector<MediaRecord> Job::MediaRecords() const {
    std::vector<MediaRecord> records;
    for (const auto& item : Details().media)
        records.push_back(*item);
    return records;
}

std::vector<std::string> Job::MediaFilePaths(const std::string& id) const {
    std::vector<std::string> paths;
    if (const std::shared_ptr<Media> item = GetMediaItem(id))
        for (const MediaFile& file : item->files)
            paths.push_back(MediaFolderPath() + "/" + file.name);
    return paths;
}

jobRtn_e Job::GetMediaIdOfFile(const std::string& path, std::string& id) const {
    id.clear();
    const std::filesystem::path base = MediaFolderPath();
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    if (folder != base && folder.parent_path() != base)
        return JOB_RTN_NOT_FOUND;

    const size_t nameStart = base.native().size() + 1;
    const std::string relative = path.size() > nameStart ? path.substr(nameStart) : std::string();
    const auto holdsFile = [&relative](const auto& item) {
        return std::ranges::find(item->files, relative, &MediaFile::name) != item->files.end();
    };
    const auto& media = Details().media;
    if (const auto found = std::ranges::find_if(media, holdsFile); found != media.end())
        id = (*found)->id;
    return JOB_RTN_SUCCEEDED;
}

} // namespace JobsManagerD
