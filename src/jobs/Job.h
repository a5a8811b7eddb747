#pragma once

#include "codes/Mutex.h"
#include "jobs/Media.h"
#include "jobs/Values.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

namespace JobsManagerD {

/// Result of the operations of `Job`.
enum jobRtn_e : int32_t {
    JOB_RTN_SUCCEEDED = 0,
    JOB_RTN_FILE_SIZE_ERROR = 4,
    JOB_RTN_NOT_FOUND = 6,
    JOB_RTN_INVALID_JSON = 8,
    JOB_RTN_INVALID_FIELDS = 9,
    JOB_RTN_LIST_FULL = 10,
    JOB_RTN_ENTRY_NOT_FOUND = 11,
    JOB_RTN_ENTRY_EXISTS = 12,
};

/// Version text of a job in the present format, and of one that is still a database of the earlier generation.
constexpr const char* currentJobVersion = "2.0";
constexpr const char* legacyJobVersion = "1.0";

/// A number that orders times of the form "%Y-%m-%dT%H:%M:%SZ" as their bytes do, above 0. 0 for a text of any other
/// form, which has to be compared as a text.
uint64_t TimeSortKey(const std::string& utcTime);

/// What the job list shows of a job.
struct JobSummary {
    std::string id;
    std::string name;
    std::string version;
    Source source;
    Timestamp timestamp;
    Position position;
    jobType_e type = JOB_TYPE_VIDEO_INSPECTION;
    /// Sum of the sizes of all media files, in bytes.
    uint64_t jobSize = 0;
    MediaCounts mediaCounts;
    bool locked = false;
};

/// What is in memory only while a job is open.
struct JobDetails {
    /// Name of the media folder inside the job folder; empty when the media lie in the job folder itself.
    std::string mediaFolder;
    std::string notes;
    std::string privateNotes;
    Address address;
    Contact customer;
    std::vector<Contact> contacts;
    std::string userData;
    std::vector<std::shared_ptr<Media>> media;
};

/// One job in memory. A `ManagedDevice` holds one for each job on its card, most of them as summaries.
///
/// Threads: the summary and the paths may be read and changed on any thread, each access under a leaf lock of the job;
/// the ID stays as it is once the job is in a list. The details belong to whoever holds `Lock()`, with the job
/// closed, or `DetailsLock()`, with the job open. The open flag is atomic.
class Job {
public:
    explicit Job(std::string jobFilePath = {});
    Job(const Job&) = delete;
    Job& operator=(const Job&) = delete;

    /// Taken by `ManagedDevice` around opening, conversion and removal; never taken by the job itself.
    Locks::TimedMutex& Lock() RETURN_CAPABILITY(_lock) { return _lock; }

    /// Held by the main thread while it works on the details of an open job, against a task that closes the job
    /// meanwhile. `ClearDetails` takes it.
    Locks::Mutex& DetailsLock() RETURN_CAPABILITY(_detailsLock) { return _detailsLock; }

    bool IsOpen() const { return _isOpen; }
    void SetOpen(bool open) { _isOpen = open; }

    // Summary

    JobSummary Summary() const;
    template <typename Change>
    void ChangeSummary(Change&& change) {
        const std::lock_guard lock(_summaryLock);
        change(_summary);
        _createKey = TimeSortKey(_summary.timestamp.createTime);
        _modifiedKey = TimeSortKey(_summary.timestamp.modifiedTime);
    }
    void SetSummary(JobSummary summary);
    /// The file and the summary of the same job as it was read anew.
    void TakeOver(const Job& found);
    std::string Id() const;
    std::string Version() const;
    bool IsLocked() const;
    /// True for a job whose file is a database of the earlier generation.
    bool IsLegacy() const { return Version() == legacyJobVersion; }
    void SetModifiedTime(const std::string& utcTime);
    /// Sort keys of the two times; see `TimeSortKey`.
    uint64_t CreateKey() const { return _createKey; }
    uint64_t ModifiedKey() const { return _modifiedKey; }
    bool IsSynced() const { return _isSynced; }
    /// The job is set up for sync; clients see it in the summary.
    void SetSyncStatus(bool isSynced) { _isSynced = isSynced; }
    /// The job was named by the service, so that new media are named after the time alone. Not stored.
    bool HasDefaultName() const { return _hasDefaultName; }
    void SetHasDefaultName(bool hasDefaultName) { _hasDefaultName = hasDefaultName; }

    // Paths, without a "/" at the end

    std::string JobFilePath() const;
    void SetJobFilePath(const std::string& path);
    std::string JobFolderPath() const;
    /// "media" below the job folder, where a new job keeps its media.
    std::string DefaultMediaFolderPath() const;
    std::string MediaFolderPath() const;
    const std::string& MediaFolder() const { return Details().mediaFolder; }
    void SetMediaFolder(const std::string& name) { Details().mediaFolder = name; }
    /// The part of a file's path behind the media folder. A path elsewhere is logged and returned unchanged. Throws
    /// std::out_of_range for the folder itself.
    std::string GetPathRelativeToMediaFolder(const std::string& path) const;
    /// False for a path that leaves the card, as a file name on it may ask for, and for one that names no file but ends
    /// with its folder: such a file counts as not there.
    bool IsOnMedium(const std::string& path) const;
    /// The same of a file that is about to be made or removed: no folder on the way to it may be a link that leads off
    /// the card either. Blocks on the medium.
    bool MayChange(const std::string& path) const;

    // Details

    JobDetails& Details();
    const JobDetails& Details() const;
    /// Keeps the media.
    void SetDetails(JobDetails details);
    /// Closes the job: drops the details, and with them the media, from memory.
    void ClearDetails();
    void ClearAddress();
    /// Keeps the customer's contactSource.
    void ClearCustomer();

    // Contacts (JobContacts.cpp)

    /// Sets the contact's ID to the one it gets in the list.
    jobRtn_e AddContact(Contact& contact);
    jobRtn_e UpdateContact(const Contact& contact);
    jobRtn_e RemoveContact(uint8_t id);
    jobRtn_e GetContact(uint8_t id, Contact& contact) const;
    bool ContactExists(const Contact& contact) const;
    /// Keeps at most one contact of that source: adds, replaces, or, for an empty contact, removes it. Takes a parsed
    /// object.
    jobRtn_e SetCompanyContactByJSONstring(const nlohmann::json& json, uint32_t contactSource);
    jobRtn_e SetAddressByJSONstring(const std::string& text);
    jobRtn_e SetCustomerByJSONstring(const std::string& text);
    /// `id` is 0 on failure.
    jobRtn_e AddContactByJSONstring(const std::string& text, uint8_t& id);
    jobRtn_e UpdateContactByJSONstring(const std::string& text);

    // Media

    /// Appends the item, counts it, and gives the job the item's position when it has none.
    jobRtn_e AddMediaItem(std::shared_ptr<Media> item);
    /// Null, with a log line, when there is none.
    std::shared_ptr<Media> GetMediaItem(const std::string& id) const;
    /// Takes the item off the list and off the counts. Its files stay.
    jobRtn_e RemoveMediaItem(const std::string& id);
    std::vector<MediaRecord> MediaRecords() const;
    std::vector<std::string> MediaFilePaths(const std::string& id) const;
    /// `id` stays empty, with success, when the path lies in the right place but belongs to no item.
    jobRtn_e GetMediaIdOfFile(const std::string& path, std::string& id) const;

    // The job file and the folder beside it (JobReconciliation.cpp)

    /// Turns the entries of the folder's recording status file into marker files and removes it. True when at least
    /// one marker was made. Blocks on the medium.
    bool ConvertBrokenFileArtefacts();
    /// Measures every media file and works out its state, without stamping a time. True when a size changed.
    bool UpdateAllMediaFileSizes();
    /// Measures the files of the item that holds `path`, and stamps the time when its size changed.
    jobRtn_e UpdateMediaItemFileSizes(const std::string& path);

    // JSON (JobJson.cpp)

    /// The members alone, for a caller that adds some.
    void WriteSummaryMembers(JsonText& text, jsonMode mode) const;
    void WriteMembers(JsonText& text, jsonMode mode) const;
    std::string SummaryJSONstring(jsonMode mode = JSON_MODE_CLIENT) const;
    std::string JSONstring(jsonMode mode) const;
    std::string AddressJSONstring() const;
    std::string CustomerJSONstring() const;
    jobRtn_e ContactJSONstring(uint8_t id, std::string& text) const;
    std::string ContactsJSONstring() const;

private:
    jobRtn_e _UpdateMediaItemFileSizes(Media& item, bool& changed, bool reconcile);

    // First in the object, where sorting a list of jobs finds them in one cache line.
    std::atomic<uint64_t> _createKey{0};
    std::atomic<uint64_t> _modifiedKey{0};
    std::atomic<bool> _isOpen{false};
    std::atomic<bool> _isSynced{false};
    bool _hasDefaultName = false;
    Locks::TimedMutex _lock;

    mutable std::mutex _summaryLock; // guards the two below
    std::string _jobFilePath;
    JobSummary _summary;

    /// Allocated when the job is opened: a summary does not pay for it.
    std::unique_ptr<JobDetails> _details;
    Locks::Mutex _detailsLock;
};

} // namespace JobsManagerD
