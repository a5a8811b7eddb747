#pragma once

#include "libjobsdaemon/Errors.h"
#include "libjobsdaemon/Events.h"
#include "libjobsdaemon/Export.h"
#include "libjobsdaemon/Values.h"
#include "libjobsdaemon/Version.h"
#include "libjobsdaemon/Wire.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace libjobsdaemon {

/// A client of the jobs service: one blocking call per method of its interface, the properties of its devices, and
/// what it tells of its own accord.
///
/// `dev` is a device ID, empty for the target device; `job` is a job ID, empty for that device's current job; `src` and
/// `dst` are device IDs, never empty. Texts are UTF-8. A method answers with the service's return code, 0 being
/// success; a call without an answer throws an Error. An object belongs to one thread at a time.
///
/// Of an object that was moved from, every call throws NotConnected and Fd() is -1; it may be assigned to and
/// destroyed.
class LIBJOBSDAEMON_EXPORT JobsManager {
public:
    using Text = std::string;
    using Texts = std::vector<std::string>;
    using Code = jobsDaemonRtn_e;

    /// Connects to the user bus, or to the bus at an address. The service need not run yet. Throws NotConnected.
    explicit JobsManager(const std::string& busAddress = "");
    /// Connects to the bus of another user, as root may. Throws NotConnected.
    [[nodiscard]] static JobsManager OfUser(const std::string& user);
    JobsManager(JobsManager&&) noexcept;
    JobsManager& operator=(JobsManager&&) noexcept;
    ~JobsManager();

    /// How long a call waits for its reply; zero is for ever. Unless set, 25 seconds, but an hour for CopyJob, MoveJob,
    /// DeleteJob and CancelCMD, which last as long as the medium takes, and two minutes for CreateJob, which asks
    /// several other services. Sets it for all calls, those too.
    void SetTimeout(std::chrono::milliseconds timeout);
    /// The same for one method, by its name on the bus.
    void SetTimeout(const Text& method, std::chrono::milliseconds timeout);

    // The target device and the current job

    [[nodiscard]] Text GetCurrentJobID() { return _Call<Text>("GetCurrentJobID"); }
    [[nodiscard]] Text GetCurrentJobDeviceID() { return _Call<Text>("GetCurrentJobDeviceID"); }
    [[nodiscard]] Text GetTargetDeviceID() { return _Call<Text>("GetTargetDeviceID"); }
    /// Refused while a job is current.
    Code SetTargetDeviceID(const Text& dev) { return _Call<Code>("SetTargetDeviceID", dev); }
    /// An empty name asks for the default one. The device becomes the target.
    JobResult CreateJob(const Text& dev, const Text& name) { return _Call<JobResult>("CreateJob", dev, name); }
    JobResult OpenJob(const Text& dev, const Text& job) { return _Call<JobResult>("OpenJob", dev, job); }
    /// The text is the ID of the job that was current, also when it could not be closed.
    TextResult CloseJob() { return _Call<TextResult>("CloseJob"); }

    // A job

    TextResult GetJob(const Text& dev, const Text& job) { return _Call<TextResult>("GetJob", dev, job); }
    TextResult GetJobName(const Text& dev, const Text& job) { return _Call<TextResult>("GetJobName", dev, job); }
    TextResult GetJobNotes(const Text& dev, const Text& job) { return _Call<TextResult>("GetJobNotes", dev, job); }
    TextResult GetJobPrivateNotes(const Text& dev, const Text& job) {
        return _Call<TextResult>("GetJobPrivateNotes", dev, job);
    }
    TextResult GetJobUserData(const Text& dev, const Text& job) {
        return _Call<TextResult>("GetJobUserData", dev, job);
    }
    FlagResult GetJobLocked(const Text& dev, const Text& job) { return _Call<FlagResult>("GetJobLocked", dev, job); }
    TextResult GetJobAddress(const Text& dev, const Text& job) { return _Call<TextResult>("GetJobAddress", dev, job); }
    TextResult GetJobCustomer(const Text& dev, const Text& job) {
        return _Call<TextResult>("GetJobCustomer", dev, job);
    }
    TextResult GetJobContacts(const Text& dev, const Text& job) {
        return _Call<TextResult>("GetJobContacts", dev, job);
    }
    TextResult GetJobFolderPath(const Text& dev, const Text& job) {
        return _Call<TextResult>("GetJobFolderPath", dev, job);
    }
    CountsResult GetJobMediaCounts(const Text& dev, const Text& job) {
        return _Call<CountsResult>("GetJobMediaCounts", dev, job);
    }

    Code SetJobName(const Text& dev, const Text& job, const Text& text) {
        return _Call<Code>("SetJobName", dev, job, text);
    }
    Code SetJobNotes(const Text& dev, const Text& job, const Text& text) {
        return _Call<Code>("SetJobNotes", dev, job, text);
    }
    Code SetJobPrivateNotes(const Text& dev, const Text& job, const Text& text) {
        return _Call<Code>("SetJobPrivateNotes", dev, job, text);
    }
    Code SetJobUserData(const Text& dev, const Text& job, const Text& text) {
        return _Call<Code>("SetJobUserData", dev, job, text);
    }
    /// A locked job cannot be deleted or moved.
    Code SetJobLocked(const Text& dev, const Text& job, bool locked) {
        return _Call<Code>("SetJobLocked", dev, job, locked);
    }
    Code SetJobAddress(const Text& dev, const Text& job, const Text& json) {
        return _Call<Code>("SetJobAddress", dev, job, json);
    }
    Code SetJobCustomer(const Text& dev, const Text& job, const Text& json) {
        return _Call<Code>("SetJobCustomer", dev, job, json);
    }
    Code ClearJobAddress(const Text& dev, const Text& job) { return _Call<Code>("ClearJobAddress", dev, job); }
    Code ClearJobCustomer(const Text& dev, const Text& job) { return _Call<Code>("ClearJobCustomer", dev, job); }

    // The contacts of a job, by the IDs that the service gives them

    TextResult GetJobContact(const Text& dev, const Text& job, uint8_t contact) {
        return _Call<TextResult>("GetJobContact", dev, job, contact);
    }
    ContactIDResult AddJobContact(const Text& dev, const Text& job, const Text& json) {
        return _Call<ContactIDResult>("AddJobContact", dev, job, json);
    }
    /// The JSON holds the "id" of the contact.
    Code UpdateJobContact(const Text& dev, const Text& job, const Text& json) {
        return _Call<Code>("UpdateJobContact", dev, job, json);
    }
    Code RemoveJobContact(const Text& dev, const Text& job, uint8_t contact) {
        return _Call<Code>("RemoveJobContact", dev, job, contact);
    }
    Code RemoveJobContacts(const Text& dev, const Text& job) { return _Call<Code>("RemoveJobContacts", dev, job); }

    // A media item of a job

    TextResult GetMediaItem(const Text& dev, const Text& job, const Text& media) {
        return _Call<TextResult>("GetMediaItem", dev, job, media);
    }
    TextResult GetMediaName(const Text& dev, const Text& job, const Text& media) {
        return _Call<TextResult>("GetMediaName", dev, job, media);
    }
    TextResult GetMediaNotes(const Text& dev, const Text& job, const Text& media) {
        return _Call<TextResult>("GetMediaNotes", dev, job, media);
    }
    TextResult GetMediaPrivateNotes(const Text& dev, const Text& job, const Text& media) {
        return _Call<TextResult>("GetMediaPrivateNotes", dev, job, media);
    }
    TextResult GetMediaUserData(const Text& dev, const Text& job, const Text& media) {
        return _Call<TextResult>("GetMediaUserData", dev, job, media);
    }
    /// The number is 1 or 0.
    NumberResult GetMediaIsIncludedInReport(const Text& dev, const Text& job, const Text& media) {
        return _Call<NumberResult>("GetMediaIsIncludedInReport", dev, job, media);
    }

    Code SetMediaName(const Text& dev, const Text& job, const Text& media, const Text& text) {
        return _Call<Code>("SetMediaName", dev, job, media, text);
    }
    Code SetMediaNotes(const Text& dev, const Text& job, const Text& media, const Text& text) {
        return _Call<Code>("SetMediaNotes", dev, job, media, text);
    }
    Code SetMediaPrivateNotes(const Text& dev, const Text& job, const Text& media, const Text& text) {
        return _Call<Code>("SetMediaPrivateNotes", dev, job, media, text);
    }
    Code SetMediaUserData(const Text& dev, const Text& job, const Text& media, const Text& text) {
        return _Call<Code>("SetMediaUserData", dev, job, media, text);
    }
    Code SetMediaIsIncludedInReport(const Text& dev, const Text& job, const Text& media, int32_t included) {
        return _Call<Code>("SetMediaIsIncludedInReport", dev, job, media, included);
    }
    /// Deletes its files too.
    Code DeleteMediaItem(const Text& dev, const Text& job, const Text& media) {
        return _Call<Code>("DeleteMediaItem", dev, job, media);
    }

    // New media of the current job. Paths are full paths; an empty one that must be given throws MalformedCall.

    MediaPathResult GetNewMediaPathComponents() { return _Call<MediaPathResult>("GetNewMediaPathComponents"); }
    Code AddSnapshotMedia(const Text& name, const Text& image, const Readings& readings) {
        return _Call<Code>("AddSnapshotMedia", name, image, readings);
    }
    Code AddVideoMedia(const Text& name, const RecordingFiles& files, const Readings& readings) {
        return _Call<Code>("AddVideoMedia", name, files, readings);
    }
    Code AddAutologMedia(const Text& name, const RecordingFiles& files, const Readings& readings) {
        return _Call<Code>("AddAutologMedia", name, files, readings);
    }
    Code AddPhotoTalkMedia(const Text& name, const RecordingFiles& files, const Readings& readings) {
        return _Call<Code>("AddPhotoTalkMedia", name, files, readings);
    }
    Code UpdateMediaFileSizes(const Text& path) { return _Call<Code>("UpdateMediaFileSizes", path); }
    /// An empty text when no item has the file.
    TextResult GetMediaID(const Text& path) { return _Call<TextResult>("GetMediaID", path); }
    CountsResult CurrentJobMediaCounts() { return _Call<CountsResult>("CurrentJobMediaCounts"); }

    // Finding jobs. FindJobs, ConvertJobs and SearchJobs return when the work has begun: the device's state, and its
    // "SearchStats", tell of the end.

    Code FindJobs(const Text& dev) { return _Call<Code>("FindJobs", dev); }
    Code ConvertJobs(const Text& dev) { return _Call<Code>("ConvertJobs", dev); }
    /// Summaries as a JSON array, from the index `start` on; a limit of 0 is none.
    TextResult GetJobList(const Text& dev, SortBy criterion, Order order, uint16_t start, uint16_t limit) {
        return _Call<TextResult>("GetJobList", dev, criterion, order, start, limit);
    }
    TextResult GetJobListStats(const Text& dev) { return _Call<TextResult>("GetJobListStats", dev); }
    /// `what` is JSON: a text is looked for everywhere, an object leads to a text, as {"customer":{"lastName":"Berg"}}.
    /// A limit of 0 is none. Replaces a search that is still running.
    Code SearchJobs(const Text& dev, const Text& what, Match match, uint16_t limit, bool caseSensitive) {
        return _Call<Code>("SearchJobs", dev, what, match, limit, caseSensitive);
    }
    TextResult GetSearchResults(const Text& dev, uint16_t start, uint16_t limit) {
        return _Call<TextResult>("GetSearchResults", dev, start, limit);
    }
    TextResult GetSearchStats(const Text& dev) { return _Call<TextResult>("GetSearchStats", dev); }

    // Deleting, moving and copying. One job is done when the call returns; of many jobs the call returns when the work
    // has begun, and ListProgress, ListError and ListFinished tell of it.

    Code DeleteJob(const Text& dev, const Text& job) { return _Call<Code>("DeleteJob", dev, job); }
    Code DeleteAllJobs(const Text& dev) { return _Call<Code>("DeleteAllJobs", dev); }
    Code DeleteJobList(const Text& dev, const Texts& jobs) { return _Call<Code>("DeleteJobList", dev, jobs); }
    Code MoveJob(const Text& src, const Text& dst, const Text& job) { return _Call<Code>("MoveJob", src, dst, job); }
    Code MoveAllJobs(const Text& src, const Text& dst) { return _Call<Code>("MoveAllJobs", src, dst); }
    Code MoveJobList(const Text& src, const Text& dst, const Texts& jobs) {
        return _Call<Code>("MoveJobList", src, dst, jobs);
    }
    Code CopyJob(const Text& src, const Text& dst, const Text& job) { return _Call<Code>("CopyJob", src, dst, job); }
    Code CopyAllJobs(const Text& src, const Text& dst) { return _Call<Code>("CopyAllJobs", src, dst); }
    Code CopyJobList(const Text& src, const Text& dst, const Texts& jobs) {
        return _Call<Code>("CopyJobList", src, dst, jobs);
    }
    /// Ends the work on many jobs between two of them, and returns when it has ended. Of a move or a copy `dev` is the
    /// source.
    Code CancelCMD(const Text& dev) { return _Call<Code>("CancelCMD", dev); }

    // Properties

    /// The mounted devices by their IDs.
    [[nodiscard]] std::vector<Device> Devices();
    [[nodiscard]] std::optional<Device> FindDevice(const Text& id);
    /// The property of the same name.
    [[nodiscard]] Text TargetDeviceID();

    // The service itself

    /// Without a value when it does not run. Does not start it.
    [[nodiscard]] std::optional<ServiceProcess> FindService();
    /// Calls a method by its name, with arguments as text in the types that the service tells of itself: true or false,
    /// a number, a text; a list of texts takes all that are left. Throws MalformedCall for what does not fit.
    [[nodiscard]] std::vector<Wire::Value> CallByName(const Text& method, const Texts& arguments);

    // Events. After Subscribe(), have the caller's loop poll Fd() for PollEvents() until Timeout(), and then take the
    // events; the time is taken anew before every poll. A call may be made at any time; events that come meanwhile are
    // kept. WaitForEvents() does it all for a caller without a loop, and the headers in `adapters/` for two common
    // loops.

    /// From its return on no event is missed.
    void Subscribe();
    /// The same descriptor as long as the object lives. It polls as ready when something has come, and for good when
    /// the connection is lost, so that a loop finds out by Process().
    [[nodiscard]] int Fd() const noexcept;
    /// For poll(): POLLIN.
    [[nodiscard]] short PollEvents() const noexcept;
    /// How long the poll may last; without a value, for ever.
    [[nodiscard]] std::optional<std::chrono::microseconds> Timeout() const;
    /// Does what the connection has to do, without waiting, and gives the events that have come, in their order.
    /// Throws NotConnected, once all that came before the loss has been given.
    [[nodiscard]] std::vector<Event> Process();
    /// Waits until there are events; none come when the time is over or a signal handler ran. Throws as Process().
    [[nodiscard]] std::vector<Event> WaitForEvents(std::chrono::milliseconds timeout);

private:
    class LIBJOBSDAEMON_HIDDEN Connection;

    LIBJOBSDAEMON_HIDDEN explicit JobsManager(std::unique_ptr<Connection> connection);
    LIBJOBSDAEMON_HIDDEN Connection& _Link() const;
    LIBJOBSDAEMON_HIDDEN std::string _StatusOf(uint32_t processID);
    std::vector<Wire::Value> _CallMethod(const char* method, const std::vector<Wire::Value>& arguments,
                                         const std::string& replySignature);

    template <typename Result, typename... Arguments>
    Result _Call(const char* method, const Arguments&... arguments) {
        std::vector<Wire::Value> values;
        (Wire::Append(values, arguments), ...);
        return Wire::Read<Result>(_CallMethod(method, values, Wire::ReplySignature<Result>()));
    }

    std::unique_ptr<Connection> _connection;
};

} // namespace libjobsdaemon
