#pragma once

#include "codes/Mutex.h"
#include "codes/ReturnCodes.h"
#include "device/Card.h"
#include "device/DeviceJobs.h"
#include "device/DeviceSearch.h"
#include "device/DeviceWorker.h"
#include "device/RaisedSignal.h"
#include "device/WriteActive.h"
#include "jobs/Job.h"
#include "search/SearchTerm.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace JobsManagerD {

template <typename Owner>
struct TextField;

/// What the camera told beside a media item.
struct MediaReadings {
    /// Degrees.
    std::optional<int32_t> cameraRollAngle;
    std::optional<int32_t> cameraInclinometerAngle;
    ReelDistance distance;
};

/// One mounted storage device and all work on its jobs. Coordinates the owners of what it knows: the jobs
/// (`DeviceJobs`), the card (`Card`), the worker thread with the state (`DeviceWorker`), the reasons for which the card
/// is being written (`WriteActive`). Tells clients through its signals, and asks the peer services itself.
///
/// Threads: the main thread runs every public operation, one at a time. A device has at most one worker thread and one
/// search thread, each of which shares ownership of the device.
///
/// Lock order: a job's `Lock()`, its `DetailsLock()`, `_announceMutex`, a signal's, the bus lock, then the locks inside
/// the owners, none of which is held while another lock is taken.
class ManagedDevice : public std::enable_shared_from_this<ManagedDevice> {
public:
    ManagedDevice() = default;
    ManagedDevice(const ManagedDevice&) = delete;
    ManagedDevice& operator=(const ManagedDevice&) = delete;

    // Identity, set once before the device is shared. --------------------------------------------------------------

    void SetStoragePath(const std::string& path);
    void SetMountPoint(const std::string& path) { _card.SetMountPoint(path); }
    void SetDbusPath(const std::string& path) { _dbusPath = path; }
    void SetDeviceId(const std::string& id) { _deviceId = id; }

    const std::string& GetStoragePath() const { return _storagePath; }
    const std::string& GetMountPoint() const { return _card.MountPoint(); }
    const std::string& GetDbusPath() const { return _dbusPath; }
    const std::string& GetDeviceId() const { return _deviceId; }

    // State, space, write-active, cancel (ManagedDevice.cpp) ---------------------------------------------------------

    deviceState_e GetState() const { return _worker.State(); }
    std::string GetStateString() const { return DeviceStateText(_worker.State()); }
    void SetState(deviceState_e state, bool clearCancel);
    void SetReadOnly(bool readOnly) { _readOnly = readOnly; }
    bool IsReadOnly() const { return _readOnly; }
    /// True when strictly more than `bytes` are free.
    bool CheckFileSpace(uint64_t bytes) const;
    /// Keeps the storage service informed that the device is being written.
    void _SetWriteActive(const std::string& reason, bool active) { _writeActive.Set(reason, active); }
    /// The card is going away: stops both threads. `whenDone` is called once, when they have ended, on the thread that
    /// ended last or at once. Does not block.
    void Cancel(std::function<void()> whenDone);
    /// Stops a multi-job delete, move or copy; `whenDone` in the same way, after the task's last signal.
    void CancelCMD(std::function<void()> whenDone);

    /// Where a job lies while it is being deleted, or while it arrives.
    std::string GetTrashPath() const { return _card.TrashFolder()->Path(); }

    /// Empty when there is none.
    std::string GetCurrentJobID() const { return _jobs.CurrentID(); }
    bool HasCurrentJob() const { return _jobs.Current() != nullptr; }
    bool IsCurrentJob(const std::string& jobID) const { return _jobs.IsCurrent(jobID); }
    /// Null when there is none.
    std::shared_ptr<Job> FindJob(const std::string& jobID) const { return _jobs.Find(jobID); }

    // Opening, closing, saving (OpenClose.cpp) -----------------------------------------------------------------------

    jobsDaemonRtn_e OpenJob(const std::string& jobID, bool makeCurrent);
    jobsDaemonRtn_e CloseJob(const std::string& jobID);
    /// The one road from a job in memory to its file. With `notify`, clients hear of the change.
    jobsDaemonRtn_e UpdateJobFile(Job& job, bool notify, bool requireOpen);

    // Creating jobs (CreateJob.cpp) ----------------------------------------------------------------------------------

    /// Makes a job and makes it current. An empty name is replaced by the default name.
    jobsDaemonRtn_e CreateJob(std::string& jobName);

    // Registering media in the current job (MediaRegistration.cpp) ---------------------------------------------------

    jobsDaemonRtn_e GetNewMediaPathComponents(std::string& mediaFolder, std::string& fileStem);
    jobsDaemonRtn_e AddSnapshotMediaItem(const std::string& name, const std::string& imagePath,
                                         const MediaReadings& readings);
    jobsDaemonRtn_e AddPhotoTalkMediaItem(const std::string& name, const std::string& audioPath,
                                          const std::string& recoveryPath, const std::string& imagePath,
                                          const std::string& miscPath, const MediaReadings& readings);
    jobsDaemonRtn_e AddVideoMediaItem(const std::string& name, const std::string& videoPath,
                                      const std::string& recoveryPath, const std::string& thumbnailPath,
                                      const std::string& miscPath, const MediaReadings& readings);
    jobsDaemonRtn_e AddAutologMediaItem(const std::string& name, const std::string& videoPath,
                                        const std::string& recoveryPath, const std::string& thumbnailPath,
                                        const std::string& miscPath, const MediaReadings& readings);
    jobsDaemonRtn_e AddMediaItem(std::shared_ptr<Media> media);
    jobsDaemonRtn_e UpdateMediaFileSizes(const std::string& filePath);
    /// On any job of the device. Removes the item's files too.
    jobsDaemonRtn_e DeleteMediaItem(const std::string& jobID, const std::string& mediaID);

    // Accessors (Accessors.cpp). All open a closed job on the way. ---------------------------------------------------

    /// The texts that are rows of `jobTextFields`.
    jobsDaemonRtn_e GetText(const TextField<JobDetails>& field, const std::string& jobID, std::string& text);
    jobsDaemonRtn_e SetText(const TextField<JobDetails>& field, const std::string& jobID, const std::string& text);
    /// The same of `mediaTextFields`. A change stamps the item and its job.
    jobsDaemonRtn_e GetText(const TextField<Media>& field, const std::string& jobID, const std::string& mediaID,
                            std::string& text);
    jobsDaemonRtn_e SetText(const TextField<Media>& field, const std::string& jobID, const std::string& mediaID,
                            const std::string& text);

    jobsDaemonRtn_e GetJobName(const std::string& jobID, std::string& name);
    jobsDaemonRtn_e GetJobLocked(const std::string& jobID, bool& locked);
    jobsDaemonRtn_e GetJobAddressJSONstring(const std::string& jobID, std::string& text);
    jobsDaemonRtn_e GetJobCustomerJSONstring(const std::string& jobID, std::string& text);
    jobsDaemonRtn_e GetJobContactJSONstring(const std::string& jobID, uint8_t contactId, std::string& text);
    jobsDaemonRtn_e GetJobContactsJSONstring(const std::string& jobID, std::string& text);
    jobsDaemonRtn_e GetJobFolderPath(const std::string& jobID, std::string& path);
    jobsDaemonRtn_e GetJobMediaCounts(const std::string& jobID, MediaCounts& counts);

    jobsDaemonRtn_e SetJobName(const std::string& jobID, const std::string& name);
    jobsDaemonRtn_e SetJobLocked(const std::string& jobID, bool locked);
    jobsDaemonRtn_e SetJobAddressByJSONstring(const std::string& jobID, const std::string& text);
    jobsDaemonRtn_e ClearJobAddress(const std::string& jobID);
    jobsDaemonRtn_e SetJobCustomerByJSONstring(const std::string& jobID, const std::string& text);
    jobsDaemonRtn_e ClearJobCustomer(const std::string& jobID);
    jobsDaemonRtn_e AddJobContactByJSONstring(const std::string& jobID, const std::string& text, uint8_t& contactId);
    jobsDaemonRtn_e UpdateJobContactByJSONstring(const std::string& jobID, const std::string& text);
    jobsDaemonRtn_e RemoveJobContact(const std::string& jobID, uint8_t contactId);
    /// In memory only, until another setter saves.
    jobsDaemonRtn_e RemoveJobContacts(const std::string& jobID);
    /// On the current job; nothing happens without one. Takes a parsed object.
    jobsDaemonRtn_e SetDefaultContactByJSONstring(const nlohmann::json& json, uint32_t contactSource);

    jobsDaemonRtn_e GetMediaIsIncludedInReport(const std::string& jobID, const std::string& mediaID, bool& included);
    /// Saves only when the flag changes, and stamps no time.
    jobsDaemonRtn_e SetMediaIsIncludedInReport(const std::string& jobID, const std::string& mediaID, bool included);

    // Deleting, moving and copying one job (DeleteMoveCopy.cpp) ------------------------------------------------------
    // With `emitStats`, clients hear that the list has changed. The caller marks the devices as being written.

    /// Not the current job, nor a locked or a playing one. The job is gone as soon as its folder is in the trash.
    jobsDaemonRtn_e DeleteJob(const std::string& jobID, bool emitStats);
    /// Copies, and then deletes as DeleteJob does. When that fails the job is on both devices.
    jobsDaemonRtn_e MoveJob(ManagedDevice& destDevice, const std::string& jobID, bool emitStats);
    jobsDaemonRtn_e CopyJob(ManagedDevice& destDevice, const std::string& jobID, bool emitStats);

    // Many jobs, on the worker thread (DeleteTask.cpp, MoveCopyTask.cpp). The calls return when the task has started. A
    // job that fails is told by a signal and passed over. A move or copy ties up the destination too.

    jobsDaemonRtn_e PrepareMultipleJobDeletion();
    jobsDaemonRtn_e DeleteJobList(const std::vector<std::string>& jobIDs);
    jobsDaemonRtn_e DeleteAllJobs();
    jobsDaemonRtn_e PrepareMultipleJobMove();
    jobsDaemonRtn_e MoveJobList(ManagedDevice& destDevice, const std::vector<std::string>& jobIDs);
    jobsDaemonRtn_e MoveAllJobs(ManagedDevice& destDevice);
    jobsDaemonRtn_e PrepareMultipleJobCopy();
    jobsDaemonRtn_e CopyJobList(ManagedDevice& destDevice, const std::vector<std::string>& jobIDs);
    jobsDaemonRtn_e CopyAllJobs(ManagedDevice& destDevice);

    // Finding jobs (IndexingTask.cpp) ---------------------------------------------------------------------------------

    /// Empties the job list, but for the current job, and fills it anew on the worker thread.
    jobsDaemonRtn_e FindDeviceJobs();
    /// Takes the job of one folder into the list. JOBS_RTN_JOB_FILE_NOT_FOUND when there is none.
    jobsDaemonRtn_e IndexDirectory(const std::string& path, bool emitChanges);

    // Jobs of the earlier generation (ConversionTask.cpp) -------------------------------------------------------------

    /// Gives each of them a job file, on the worker thread. Their databases stay as they are.
    jobsDaemonRtn_e ConvertDeviceJobs();
    /// The empty file beside a database that says that the job has a job file by now.
    static std::string _GetConvertedFlagPath(const std::string& path);

    // Searching (SearchTask.cpp) --------------------------------------------------------------------------------------

    /// Starts a search on the search thread, in the place of one that runs. `fieldStructure` is a JSON text: a string
    /// to look for everywhere, or an object that leads to one. The text of `term` is not read. No limit when
    /// `matchLimit` is 0.
    jobsDaemonRtn_e SearchJobs(const std::string& fieldStructure, const SearchTerm& term, uint16_t matchLimit);

    // Views (JobListViews.cpp). The texts are compact JSON. ----------------------------------------------------------

    std::string GetJobListStatsJSONstring() const;
    std::string GetSearchStatsJSONstring() const;
    /// A page of summaries. `limit` becomes the number of jobs in it; all from `startIdx` on when it was 0.
    jobsDaemonRtn_e GetJobListSummariesJSONstring(uint8_t criterion, uint8_t order, uint16_t startIdx, uint16_t& limit,
                                                  std::string& text) const;
    jobsDaemonRtn_e GetSearchResultsJSONstring(uint16_t startIdx, uint16_t& limit, std::string& text) const;
    jobsDaemonRtn_e GetJobJSONstring(const std::string& jobID, std::string& text);
    jobsDaemonRtn_e GetMediaItemJSONstring(const std::string& jobID, const std::string& mediaID, std::string& text);
    jobsDaemonRtn_e GetJobSummaryJSONstring(const std::string& jobID, std::string& text) const;
    /// Empty, with success, for a path in the right place that belongs to no item.
    jobsDaemonRtn_e GetMediaID(const std::string& filePath, std::string& mediaID) const;

    // Signals. Raised on the calling thread. -------------------------------------------------------------------------

    RaisedSignal<ManagedDevice&> _deviceStateUpdate;
    /// True when no more is to come.
    RaisedSignal<ManagedDevice&, bool> _jobListStatsChanged;
    /// The job's summary as compact JSON.
    RaisedSignal<ManagedDevice&, const std::string&> _jobChanged;
    RaisedSignal<ManagedDevice&> _jobCreated;
    RaisedSignal<ManagedDevice&> _jobOpened;
    /// The job's ID.
    RaisedSignal<ManagedDevice&, const std::string&> _jobClosed;

    /// Percent, jobs done, jobs in all.
    using DeleteProgress = RaisedSignal<ManagedDevice&, int32_t, int32_t, int32_t>;
    /// Cancelled, jobs done, jobs in all.
    using DeleteFinish = RaisedSignal<ManagedDevice&, bool, int32_t, int32_t>;
    /// Job ID, return code.
    using DeleteError = RaisedSignal<ManagedDevice&, const std::string&, int32_t>;
    /// The same with the destination's device ID before them.
    using TransferProgress = RaisedSignal<ManagedDevice&, const std::string&, int32_t, int32_t, int32_t>;
    using TransferFinish = RaisedSignal<ManagedDevice&, const std::string&, bool, int32_t, int32_t>;
    using TransferError = RaisedSignal<ManagedDevice&, const std::string&, const std::string&, int32_t>;

    DeleteProgress _jobListDeleteProgress;
    DeleteFinish _jobListDeleteFinish;
    DeleteError _jobListDeleteError;
    TransferProgress _jobListMoveProgress;
    TransferFinish _jobListMoveFinish;
    TransferError _jobListMoveError;
    TransferProgress _jobListCopyProgress;
    TransferFinish _jobListCopyFinish;
    TransferError _jobListCopyError;
    RaisedSignal<ManagedDevice&> _jobSearchComplete;

private:
    // Each capability has its own helpers, in its own source.
    struct MediaRegistration;
    struct Transfer;
    struct TransferKind;
    class Accessors;
    class Conversion;
    class Indexing;
    static const TransferKind _moving;
    static const TransferKind _copying;

    using JobLock = std::unique_lock<Locks::TimedMutex>;
    /// A job that lies in the trash.
    struct Deletion {
        std::string folder; ///< where it was
        Trash::Place place;
    };
    struct JobsToWorkOn {
        std::vector<std::string> ids;
        uint64_t bytes = 0; ///< of all their media
    };

    // What several capabilities share

    /// Has a thread ready for a task; JOBS_RTN_DEVICE_BUSY when the system has none to give.
    jobsDaemonRtn_e _PrepareTask();
    jobsDaemonRtn_e _RefuseWhenBusy(const char* method, const char* movingStates) const;
    /// FindJob with the line that all operations share when there is none.
    std::shared_ptr<Job> _FindJobOrLog(const std::string& jobID, const char* method) const;
    /// The job's lock. A call waits for a task that has it, but not for long, and gets none then, which is logged; a
    /// task waits for as long as it takes. Unchecked, because the lock leaves the function in what it returns.
    JobLock _LockJob(Job& job, const char* method) const NO_THREAD_SAFETY_ANALYSIS;
    /// Waits likewise for the end of a copying of the job. True, with a line, when it still goes on.
    bool _IsCopiedLogged(const std::string& jobID, const char* method) const;
    bool _IsCurrentJobLogged(const std::string& jobID, const char* method) const;
    static bool _IsLockedLogged(const Job& job, const char* method);
    static jobsDaemonRtn_e _CheckNoPlaybackWithin(const std::string& folder, const char* method);
    JobsToWorkOn _JobsOf(const std::vector<std::string>& jobIDs) const;
    JobsToWorkOn _AllJobs() const;

    // Opening and closing
    jobsDaemonRtn_e _OpenJob(const std::shared_ptr<Job>& job, bool makeCurrent);
    jobsDaemonRtn_e _LoadAndRepair(Job& job);
    jobsDaemonRtn_e _ConvertOpenedJob(Job& job);
    bool _RepairDiscrepancies(Job& job);
    void _FindAndCloseNonCurrentJob();
    void _CloseInBackground(const std::string& jobID);
    jobsDaemonRtn_e CloseJob(const std::shared_ptr<Job>& job);
    jobsDaemonRtn_e _CheckNoRecordingInto(const Job& job) const;

    // Deleting, moving and copying: the first half for one job, the second for one or many
    jobsDaemonRtn_e _BeginDelete(const std::string& jobID, bool emitStats, Deletion& deletion);
    jobsDaemonRtn_e DeleteJobInternal(const std::shared_ptr<Job>& job, bool emitStats, Deletion& deletion);
    jobsDaemonRtn_e _MoveToTrash(const Job& job, Deletion& deletion) const;
    void _FinishDeletions(std::vector<Deletion>& deletions) const;
    jobsDaemonRtn_e MoveCopyInternal(ManagedDevice& destDevice, const std::string& jobID, bool isMove, bool emitStats);
    jobsDaemonRtn_e _BeginTransfer(std::vector<Transfer>& transfers, ManagedDevice& destDevice,
                                   const std::string& jobID, bool isMove);
    /// One code for each; what failed has left nothing at the destination.
    std::vector<jobsDaemonRtn_e> _FinishTransfers(std::vector<Transfer>& transfers, bool emitStats);

    // Many jobs
    template <typename GetIds>
    jobsDaemonRtn_e _StartDeletion(const char* method, GetIds getIds);
    void _DeleteJobListTask(const std::vector<std::string>& jobIDs);
    jobsDaemonRtn_e _PrepareTransfer(const TransferKind& kind);
    template <typename GetJobs>
    jobsDaemonRtn_e _StartTransfer(const TransferKind& kind, const char* method, ManagedDevice& destDevice,
                                   GetJobs getJobs);
    void _TransferTask(const TransferKind& kind, ManagedDevice& destDevice, const std::vector<std::string>& jobIDs);

    // Finding jobs
    bool _TakeFound(std::shared_ptr<Job> found, uint64_t readAt, const DeviceJobs::Reading& reading, bool emitChanges);

    // Jobs of the earlier generation
    void _CloseLegacyJobs();
    /// The one step from a loaded job of the earlier generation to one of this. With `artefactsFound` the file repair
    /// service should look at the job's folder.
    jobsDaemonRtn_e _ConvertJobToRuvo(Job& job, bool& artefactsFound);
    jobsDaemonRtn_e _WriteFirstJobFile(Job& job, const std::string& oldPath);
    static void _TriggerFileRepairScan(const std::string& deviceId, const std::vector<std::string>& folders);
    /// The same, waiting for nothing.
    static void _TriggerFileRepairScanAside(const std::string& deviceId, const std::vector<std::string>& folders);

    // Creating jobs, registering media
    jobsDaemonRtn_e _FillJobFolder(Job& job);
    jobsDaemonRtn_e _RegisterMedia(const MediaRegistration& registration);
    jobsDaemonRtn_e _CheckNoPlaybackFrom(const std::vector<std::string>& files) const;

    std::string _storagePath;
    std::string _dbusPath;
    std::string _deviceId;

    std::atomic<bool> _readOnly{false};
    /// No thread is left, and clients see the device no more.
    std::atomic<bool> _hasLeft{false};

    Card _card;
    DeviceJobs _jobs;
    DeviceWorker _worker;
    WriteActive _writeActive;
    /// Held while a job that was found joins the list and clients are told, so that they hear of changes in the order
    /// in which they were made.
    Locks::Mutex _announceMutex;

    DeviceSearch _search;
};

/// Marks a device as being written for the length of a scope.
class WriteActiveMark {
public:
    WriteActiveMark(ManagedDevice& device, const char* reason) : _device(device), _reason(reason) {
        _device._SetWriteActive(_reason, true);
    }
    WriteActiveMark(const WriteActiveMark&) = delete;
    WriteActiveMark& operator=(const WriteActiveMark&) = delete;
    ~WriteActiveMark() { _device._SetWriteActive(_reason, false); }

private:
    ManagedDevice& _device;
    const char* _reason;
};

} // namespace JobsManagerD
