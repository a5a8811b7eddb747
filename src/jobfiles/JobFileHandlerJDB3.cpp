#include "jobfiles/JobFileHandlerJDB3.h"

#include "fsutil/GuardedFs.h"
#include "jobfiles/JDB3helper.h"
#include "jobs/Job.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <span>
#include <syslog.h>
#include <unordered_map>

namespace JobsManagerD {
namespace {

// What a job takes that is made of a database: more refuses the database as a whole. Segments of one number share their
// bookmarks, and items the folder of their segment and the source and position of the job, so that a small database
// could ask for far more than it holds.

/// As many as a job's counters can tell.
constexpr size_t mostMedia = 65'535;
/// Bytes of the texts of all media.
constexpr size_t mostMediaBytes = 64 * 1024 * 1024;

// Texts ---------------------------------------------------------------------------------------------------------------

std::string TimeText(const std::tm& time) {
    std::array<char, 80> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &time)};
}

std::string TimeText(time_t time) {
    std::tm parts{};
    gmtime_r(&time, &parts);
    return TimeText(parts);
}

std::string CoordinateText(double degrees) {
    std::array<char, 400> text{};
    std::snprintf(text.data(), text.size(), "%f", degrees);
    return text.data();
}

Position PositionOf(double latitude, double longitude) { return {CoordinateText(latitude), CoordinateText(longitude)}; }

void _AppendNote(std::string& text, const std::string& note) {
    if (note.empty())
        return;
    if (!text.empty())
        text += '\n';
    text += note;
}

// Notes: the texts of the job and of its segments, gathered by kind ---------------------------------------------------

struct NoteKind {
    const char* label;
    std::string JDB3Segment::*ofSegment;
    std::string JDB3JobFields::*ofJob = nullptr;
};

constexpr NoteKind noteKinds[] = {
    {"Reason for call: ", &JDB3Segment::ReasonForCall, &JDB3JobFields::ReasonForCall},
    {"Description: ", &JDB3Segment::Description, &JDB3JobFields::Description},
    {"Purpose: ", &JDB3Segment::Purpose},
    {"Quote: ", &JDB3Segment::Quote},
    {"Action: ", &JDB3Segment::Action},
    {"Summary: ", &JDB3Segment::Summary},
    {"Source: ", &JDB3Segment::Source},
};

/// The label stands once, at the head of its block.
void Collect(std::string& block, const NoteKind& kind, const std::string& note) {
    if (!note.empty())
        _AppendNote(block, block.empty() ? kind.label + note : note);
}

std::string CollectNotes(const JDB3JobFields& fields) {
    std::string notes;
    for (const NoteKind& kind : noteKinds) {
        std::string block;
        if (kind.ofJob)
            Collect(block, kind, fields.*kind.ofJob);
        for (const JDB3Segment& segment : fields.segments)
            Collect(block, kind, segment.*kind.ofSegment);
        _AppendNote(notes, block);
    }
    return notes;
}

std::string CollectPrivateNotes(const JDB3JobFields& fields) {
    std::string notes = fields.PrivateNote;
    for (const JDB3Segment& segment : fields.segments)
        _AppendNote(notes, segment.PrivateNote);
    return notes;
}

// Addresses and contacts: keys of the job file, and the columns that fill them ----------------------------------------

template <typename Record>
struct TextColumn {
    const char* key;
    std::string Record::*column;
};

constexpr TextColumn<JDB3Address> addressColumns[] = {
    {"address1", &JDB3Address::Street},       {"city", &JDB3Address::City},       {"region", &JDB3Address::State},
    {"postalCode", &JDB3Address::PostalCode}, {"country", &JDB3Address::Country},
};
constexpr TextColumn<JDB3Contact> nameColumns[] = {
    {"firstName", &JDB3Contact::FirstName}, {"lastName", &JDB3Contact::LastName},  {"title", &JDB3Contact::Title},
    {"company", &JDB3Contact::Company},     {"email", &JDB3Contact::EmailAddress},
};
constexpr TextColumn<JDB3Contact> phoneColumns[] = {
    {"business", &JDB3Contact::BusinessNumber},
    {"mobile", &JDB3Contact::MobileNumber},
    {"home", &JDB3Contact::HomeNumber},
    {"fax", &JDB3Contact::FaxNumber},
};
constexpr TextColumn<JDB3Contact> webColumns[] = {{"website", &JDB3Contact::WebAddress}};

template <typename Record>
TextMap TextsOf(const Record& record, std::span<const TextColumn<Record>> columns) {
    TextMap texts;
    for (const auto& [key, column] : columns)
        if (!(record.*column).empty())
            texts.emplace(key, record.*column);
    return texts;
}

void _MapAddress(const JDB3Address& record, Address& address) {
    address = {TextsOf<JDB3Address>(record, addressColumns), {}};
    if (record.Latitude != 0.0 || record.Longitude != 0.0)
        address.position = PositionOf(record.Latitude, record.Longitude);
}

/// The address stays as it is.
void _MapContact(const JDB3Contact& record, Contact& contact) {
    contact.id = 0;
    contact.names = TextsOf<JDB3Contact>(record, nameColumns);
    contact.phones = TextsOf<JDB3Contact>(record, phoneColumns);
    contact.web = TextsOf<JDB3Contact>(record, webColumns);
}

Address FindLocation(const JDB3JobFields& fields) {
    Address location;
    for (const JDB3Address& record : fields.addresses)
        if (record.Id == fields.LocationId)
            _MapAddress(record, location);
    return location;
}

/// The person of that number, from the rows of the contacts and of the addresses.
Contact FindPerson(const JDB3JobFields& fields, int32_t id) {
    Contact person;
    for (const JDB3Contact& record : fields.contacts)
        if (record.Id == id)
            _MapContact(record, person);
    for (const JDB3Address& record : fields.addresses)
        if (record.ContactId == id)
            _MapAddress(record, person.address);
    return person;
}

void MapPeople(const JDB3JobFields& fields, const Address& location, Job& job) {
    Contact customer = FindPerson(fields, fields.CustomerId);
    Contact inspector = FindPerson(fields, fields.InspectorId);
    if (!location.IsEmpty())
        job.Details().address = location;
    if (!customer.IsEmpty())
        job.Details().customer = std::move(customer);
    if (!inspector.IsEmpty()) {
        inspector.names["type"] = "Inspector";
        job.AddContact(inspector);
    }
}

// Media ---------------------------------------------------------------------------------------------------------------

struct FileColumn {
    mediaFileType_e type;
    std::string JDB3Bookmark::*path;
    const char* suffix = "";
};

/// The audio of an image with a comment stands in the column of the video; the column of that name was never used.
constexpr FileColumn photoTalkFiles[] = {
    {MEDIA_FILE_AUDIO, &JDB3Bookmark::VideoPath},
    {MEDIA_FILE_IMAGE, &JDB3Bookmark::ImagePath},
    {MEDIA_FILE_RECOVERY, &JDB3Bookmark::VideoPath, "-recovery"},
    {MEDIA_FILE_MISC_DATA, &JDB3Bookmark::DataPath},
};
constexpr FileColumn imageFiles[] = {{MEDIA_FILE_IMAGE, &JDB3Bookmark::ImagePath}};
constexpr FileColumn recordingFiles[] = {
    {MEDIA_FILE_VIDEO, &JDB3Bookmark::VideoPath},
    {MEDIA_FILE_THUMBNAIL, &JDB3Bookmark::ImagePath},
    {MEDIA_FILE_RECOVERY, &JDB3Bookmark::VideoPath, "-recovery"},
    {MEDIA_FILE_MISC_DATA, &JDB3Bookmark::DataPath},
};

struct BookmarkType {
    const char* name;
    mediaType_e type;
    std::span<const FileColumn> files;
};

const BookmarkType bookmarkTypes[] = {
    {"AUDIOIMAGE", MEDIA_TYPE_PHOTO_TALK, photoTalkFiles},
    {"AUTOLOG", MEDIA_TYPE_AUTOLOG, recordingFiles},
    {"IMAGE", MEDIA_TYPE_IMAGE, imageFiles},
    {"VIDEO", MEDIA_TYPE_VIDEO, recordingFiles},
};

/// Null, with a log line, for a type that is not known.
const BookmarkType* _MapBookmarkType(const JDB3Bookmark& bookmark) {
    const auto found = std::ranges::find(bookmarkTypes, bookmark.Type, &BookmarkType::name);
    if (found != std::end(bookmarkTypes))
        return found;
    syslog(LOG_ERR, "JobFileHandlerJDB3::_MapBookmarkType - Invalid bookmark type: %s.  Skipping",
           bookmark.Type.c_str());
    return nullptr;
}

uint64_t MeasureFile(const Job& job, const std::string& name) {
    const std::string path = job.JobFolderPath() + "/" + name;
    if (!job.IsOnMedium(path))
        return 0;
    bool error = false;
    const uint64_t size = GetFileSizeBytes(path, error, false);
    if (error)
        syslog(LOG_ERR, "JobFileHandlerJDB3::_MapBookmarkFiles - Error reading size of: %s", path.c_str());
    return size;
}

std::vector<MediaFile> _MapBookmarkFiles(const JDB3Bookmark& bookmark, std::span<const FileColumn> columns,
                                         const std::string& relativePath, const Job& job) {
    std::vector<MediaFile> files;
    for (const auto& [type, path, suffix] : columns) {
        std::string name = relativePath + "/" + bookmark.*path + suffix;
        const uint64_t size = MeasureFile(job, name);
        // All others are required of a media item, there or not.
        if (type != MEDIA_FILE_MISC_DATA || size != 0)
            files.push_back({type, std::move(name), size, MEDIA_FILE_STATE_OK});
    }
    return files;
}

/// 0 when none of the files is there.
time_t _GetMediaFilesLatestModificationTime(const std::vector<MediaFile>& files, const std::string& folder,
                                            const Job& job) {
    time_t latest = 0;
    for (const MediaFile& file : files) {
        const std::string path = folder + "/" + file.name;
        if (!job.IsOnMedium(path))
            continue;
        bool error = false;
        const time_t time = GetFileModificationTime(path, error);
        if (error)
            syslog(LOG_ERR,
                   "JobFileHandlerJDB3::_GetMediaFilesLatestModificationTime - Error reading file modification time: "
                   "%s",
                   path.c_str());
        else if (std::difftime(time, latest) > 0)
            latest = time;
    }
    return latest;
}

/// The files' names begin with the segment's folder already, so that files in a folder of their own are not found, and
/// their media keep the time of the bookmark. Media of this generation have always had that time.
Timestamp MapTimes(const JDB3Bookmark& bookmark, const std::vector<MediaFile>& files, const std::string& segmentFolder,
                   const Job& job) {
    Timestamp times{TimeText(bookmark.Timestamp), {}};
    const time_t modified = _GetMediaFilesLatestModificationTime(files, segmentFolder, job);
    if (modified > 0) {
        times.modifiedTime = TimeText(modified);
    } else {
        syslog(LOG_ERR, "JobFileHandlerJDB3::mapJDB3toRuvoJob - _GetMediaFilesLatestModificationTime returned 0.  "
                        "Setting media modification time to bookmark's creation timestamp");
        times.modifiedTime = times.createTime;
    }
    times.modifiedTime = std::max(times.modifiedTime, times.createTime);
    return times;
}

/// Null for a bookmark of an unknown type, which is dropped.
std::shared_ptr<Media> MapBookmark(const JDB3Bookmark& bookmark, const JDB3Segment& segment, const Job& job) {
    const BookmarkType* const type = _MapBookmarkType(bookmark);
    if (!type) {
        syslog(LOG_ERR, "JobFileHandlerJDB3::mapJDB3toRuvoJob - Error mapping bookmark type. Dropping bookmark");
        return nullptr;
    }
    const JobSummary summary = job.Summary();
    auto item = std::make_shared<Media>();
    item->type = type->type;
    item->id = bookmark.UniqueId;
    item->files = _MapBookmarkFiles(bookmark, type->files, segment.RelativePath, job);
    item->timestamp = MapTimes(bookmark, item->files, job.JobFolderPath() + "/" + segment.RelativePath, job);
    item->source = summary.source;
    item->position = summary.position;
    item->isIncludedInReport = bookmark.IsSelected != 0;
    item->notes = bookmark.Note;
    item->privateNotes = bookmark.PrivateNote;
    return item;
}

using BookmarksOfSegments = std::unordered_map<int32_t, std::vector<const JDB3Bookmark*>>;

BookmarksOfSegments GroupBySegment(const std::vector<JDB3Bookmark>& bookmarks) {
    BookmarksOfSegments groups;
    for (const JDB3Bookmark& bookmark : bookmarks)
        groups[bookmark.SegmentId].push_back(&bookmark);
    return groups;
}

/// Roughly what an item's own texts take.
size_t BytesOf(const JDB3Bookmark& bookmark, const JDB3Segment& segment) {
    constexpr size_t mostFiles = std::size(recordingFiles);
    return bookmark.Note.size() + bookmark.PrivateNote.size() + 2 * bookmark.VideoPath.size() +
           bookmark.ImagePath.size() + bookmark.DataPath.size() + mostFiles * segment.RelativePath.size();
}

/// `bytesFromJob` is what each item takes over from the job.
bool DoMediaFit(const JDB3JobFields& fields, BookmarksOfSegments& bookmarks, size_t bytesFromJob) {
    size_t count = 0;
    size_t bytes = 0;
    for (const JDB3Segment& segment : fields.segments) {
        for (const JDB3Bookmark* bookmark : bookmarks[segment.Id]) {
            bytes += bytesFromJob + BytesOf(*bookmark, segment);
            if (++count > mostMedia || bytes > mostMediaBytes)
                return false;
        }
    }
    return true;
}

void MapMedia(const JDB3JobFields& fields, BookmarksOfSegments& bookmarks, Job& job) {
    for (const JDB3Segment& segment : fields.segments)
        for (const JDB3Bookmark* bookmark : bookmarks[segment.Id])
            if (std::shared_ptr<Media> item = MapBookmark(*bookmark, segment, job))
                job.AddMediaItem(std::move(item));
}

// The job -------------------------------------------------------------------------------------------------------------

bool HasRequiredFields(const JDB3JobFields& fields) {
    return !fields.UniqueId.empty() && fields.StartTime.tm_year != 0 && fields.DateLastCalculated.tm_year != 0;
}

/// What the summary of a job list and that of an opened job have in common.
JobSummary MapCommonFields(const JDB3JobFields& fields, const Job& job) {
    JobSummary summary;
    summary.id = fields.UniqueId;
    summary.name = fields.Name.empty() ? std::filesystem::path(job.JobFolderPath()).stem().string() : fields.Name;
    summary.version = legacyJobVersion;
    summary.source = {fields.Source, fields.Serial, fields.Version};
    summary.timestamp = {TimeText(fields.StartTime), TimeText(fields.DateLastCalculated)};
    summary.type = JOB_TYPE_VIDEO_INSPECTION;
    summary.locked = fields.JobLocked != 0;
    return summary;
}

jobFileOpRtn_e _MapJDB3toRuvoSummary(const JDB3JobFields& fields, Job& job) {
    if (!HasRequiredFields(fields)) {
        syslog(LOG_ERR, "JobFileHandlerJDB3::_MapJDB3toRuvoSummary - Invalid summary fields found");
        return JOBFILE_OP_MISSING_FIELDS;
    }
    const int64_t media = int64_t{fields.nAutolog} + fields.nImage + fields.nAudioImage + fields.nVideo;
    if (media > int64_t{mostMedia}) {
        syslog(LOG_ERR, "JobFileHandlerJDB3::_MapJDB3toRuvoSummary - Too many bookmarks");
        return JOBFILE_OP_FS_ERROR;
    }
    const auto count = [](int64_t number) { return static_cast<uint16_t>(number); };
    JobSummary summary = MapCommonFields(fields, job);
    summary.position = PositionOf(fields.Latitude, fields.Longitude);
    summary.jobSize = static_cast<uint64_t>(std::max<int64_t>(fields.JobSize, 0));
    summary.mediaCounts = {count(media), count(fields.nAutolog), count(fields.nImage), count(fields.nAudioImage),
                           count(fields.nVideo)};
    job.SetSummary(std::move(summary));
    return JOBFILE_OP_SUCCEEDED;
}

/// A listed job keeps the ID under which it is listed: a database that has another one by now is another job.
bool IsOtherJob(const JDB3JobFields& fields, const Job& job) {
    const std::string id = job.Id();
    return !id.empty() && id != fields.UniqueId;
}

/// Of the texts that each media item takes over from the job.
size_t BytesSharedBy(const JobSummary& job) {
    return job.source.model.size() + job.source.serial.size() + job.source.version.size() +
           job.position.latitude.size() + job.position.longitude.size();
}

jobFileOpRtn_e mapJDB3toRuvoJob(const JDB3JobFields& fields, Job& job) {
    if (!HasRequiredFields(fields) || IsOtherJob(fields, job)) {
        syslog(LOG_ERR, "JobFileHandlerJDB3::mapJDB3toRuvoJob - Invalid fields found");
        return JOBFILE_OP_MISSING_FIELDS;
    }
    const Address location = FindLocation(fields);
    JobSummary summary = MapCommonFields(fields, job);
    summary.position = location.position;
    BookmarksOfSegments bookmarks = GroupBySegment(fields.bookmarks);
    if (!DoMediaFit(fields, bookmarks, BytesSharedBy(summary))) {
        syslog(LOG_ERR, "JobFileHandlerJDB3::mapJDB3toRuvoJob - Too many bookmarks");
        return JOBFILE_OP_FS_ERROR;
    }
    job.ClearDetails();
    job.SetSummary(std::move(summary));
    // The media lie in the job folder itself.
    job.SetMediaFolder("");
    MapMedia(fields, bookmarks, job);
    if (const auto& media = job.Details().media; !media.empty())
        job.SetModifiedTime(media.back()->timestamp.modifiedTime);
    MapPeople(fields, location, job);
    job.Details().notes = CollectNotes(fields);
    job.Details().privateNotes = CollectPrivateNotes(fields);
    return JOBFILE_OP_SUCCEEDED;
}

/// In what reading a summary and reading a whole job differ.
struct Reading {
    const char* method;
    const char* what;
    const char* target;
    bool (JDB3helper::*extract)();
    jobFileOpRtn_e (*map)(const JDB3JobFields& fields, Job& job);
};

jobFileOpRtn_e Read(const Reading& reading, Job& job) {
    const std::string path = job.JobFilePath();
    JDB3helper database(path);
    if (!database.Open())
        return JOBFILE_OP_FS_ERROR;
    if (!(database.*reading.extract)()) {
        syslog(LOG_ERR, "JobFileHandlerJDB3::%s - Failed to extract %s data from database", reading.method,
               reading.what);
        return JOBFILE_OP_FS_ERROR;
    }
    if (!database.Close()) {
        syslog(LOG_ERR, "JobFileHandlerJDB3::%s - Failed to close database %s", reading.method, path.c_str());
        return JOBFILE_OP_FS_ERROR;
    }
    const jobFileOpRtn_e result = reading.map(database.Fields(), job);
    if (result != JOBFILE_OP_SUCCEEDED)
        syslog(LOG_ERR, "JobFileHandlerJDB3::%s - Failed to map database fields to %s structure", reading.method,
               reading.target);
    return result;
}

} // namespace

jobFileOpRtn_e JobFileHandlerJDB3::ParseJobFileSummary(Job& job) const {
    return Read(
        {"ParseJobFileSummary", "summary", "job summary", &JDB3helper::ExtractJobSummaryFields, _MapJDB3toRuvoSummary},
        job);
}

jobFileOpRtn_e JobFileHandlerJDB3::ParseJobFile(Job& job) const {
    return Read({"ParseJobFile", "job", "job", &JDB3helper::ExtractJobFields, mapJDB3toRuvoJob}, job);
}

jobFileOpRtn_e JobFileHandlerJDB3::UpdateJobFile(const Job&) const {
    syslog(LOG_ERR, "JobFileHandlerJDB3::UpdateJobFile - SQL job file update not supported");
    return JOBFILE_OP_UNSUPPORTED;
}

jobFileOpRtn_e JobFileHandlerJDB3::ExtractJobJson(const Job&, nlohmann::json&) const {
    syslog(LOG_ERR, "JobFileHandlerJDB3::ExtractJobJson - Parsing SQL job file directly to json not supported.  Open "
                    "the job to convert to Ruvo format first");
    return JOBFILE_OP_UNSUPPORTED;
}

} // namespace JobsManagerD
