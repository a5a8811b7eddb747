#include "jobfiles/JobFileHandlerJSON.h"

#include "jobfiles/FastSummary.h"
#include "jobfiles/JobFileValidators.h"
#include "jobfiles/SafeJobOpen.h"
#include "jobs/Job.h"
#include "jobs/JobFolder.h"
#include "jobs/Scramble.h"
#include "jobs/TextFields.h"
#include "jobs/ValuesJson.h"

#include <algorithm>
#include <syslog.h>

using nlohmann::json;

namespace JobsManagerD {
namespace {

std::string TextOrNothing(const json& value, const char* key) {
    return HasKey(value, key) ? value[key].get<std::string>() : std::string();
}

std::optional<int32_t> AngleOrNothing(const json& value, const char* key) {
    const bool isNothing = !HasKey(value, key) || value[key].is_null() || value[key].is_boolean();
    return isNothing ? std::nullopt : std::optional(JsonNumber<int32_t>(value[key]));
}

Position PositionOrNothing(const json& value) {
    return HasKey(value, "position") ? PositionFromJson(value["position"]) : Position();
}

std::string ReadText(const json& value, TextForm form, const std::string& id) {
    if (form == TextForm::data)
        return JsonValueAsText(value);
    if (form == TextForm::plain)
        return value.get<std::string>();
    std::vector<uint8_t> bytes;
    for (const json& byte : value)
        bytes.push_back(JsonNumber<uint8_t>(byte));
    return UnscrambleBytes(bytes, id);
}

template <typename Owner, size_t count>
void ReadTextFields(const json& value, const TextField<Owner> (&fields)[count], const std::string& id, Owner& owner) {
    for (const TextField<Owner>& field : fields)
        if (HasKey(value, field.key))
            owner.*field.text = ReadText(value[field.key], field.form, id);
}

JobSummary ReadSummary(const json& document) {
    JobSummary summary;
    summary.id = document["id"].get<std::string>();
    summary.version = document["version"].get<std::string>();
    summary.locked = document["locked"].get<bool>();
    summary.source = SourceFromJson(document["source"]);
    summary.timestamp = TimestampFromJson(document["timestamp"]);
    summary.type = JobTypeFromKeyword(document["type"].get<std::string>());
    summary.jobSize = JsonNumber<uint64_t>(document["jobSize"]);
    summary.mediaCounts = MediaCountsFromJson(document["mediaCounts"]);
    summary.name = TextOrNothing(document, "name");
    summary.position = PositionOrNothing(document);
    return summary;
}

JobDetails ReadDetails(const json& document, const std::string& jobId) {
    JobDetails details;
    details.mediaFolder =
        HasKey(document, "mediaFolder") ? document["mediaFolder"].get<std::string>() : JobFolder::defaultMediaFolder;
    ReadTextFields(document, jobTextFields, jobId, details);
    if (HasKey(document, "address"))
        details.address = AddressFromJson(document["address"]);
    if (HasKey(document, "customer"))
        details.customer = ContactFromJson(document["customer"]);
    if (HasArray(document, "contacts") || HasObject(document, "contacts"))
        details.contacts = ContactsFromJson(document["contacts"]);
    return details;
}

/// Files of a type that this version does not know are left out.
std::vector<MediaFile> ReadFiles(const json& files) {
    std::vector<MediaFile> known;
    for (const json& file : files) {
        const mediaFileType_e type = MediaFileTypeFromKeyword(file["type"].get<std::string>());
        if (type != MEDIA_FILE_NONE)
            known.push_back(
                {type, file["name"].get<std::string>(), JsonNumber<uint64_t>(file["size"]), MEDIA_FILE_STATE_OK});
    }
    return known;
}

MediaRecord ReadMediaRecord(const json& value) {
    MediaRecord record;
    record.type = MediaTypeFromKeyword(value["type"].get<std::string>());
    record.id = value["id"].get<std::string>();
    record.timestamp = TimestampFromJson(value["timestamp"]);
    record.source = SourceFromJson(value["source"]);
    record.files = ReadFiles(value["files"]);
    record.position = PositionOrNothing(value);
    record.cameraRollAngle = AngleOrNothing(value, "cameraRollAngle");
    record.cameraInclinometerAngle = AngleOrNothing(value, "cameraInclinometerAngle");
    if (HasKey(value, "distance"))
        record.distance = ReelDistanceFromJson(value["distance"]);
    record.isIncludedInReport = value["isIncludedInReport"].get<bool>();
    return record;
}

bool HasRequiredFiles(const MediaRecord& record) {
    return std::ranges::all_of(Media::RequiredFiles(record.type), [&record](mediaFileType_e type) {
        return std::ranges::find(record.files, type, &MediaFile::type) != record.files.end();
    });
}

/// Null, after a log line, for an item that is not valid.
std::shared_ptr<Media> ParseMedia(const json& value) {
    if (!HasValidMediaFields(value)) {
        syslog(LOG_ERR, "JobFileHandlerJSON::ParseMedia - Valid media fields check failed");
        return nullptr;
    }
    auto item = std::make_shared<Media>(ReadMediaRecord(value));
    if (item->type == MEDIA_TYPE_NONE) {
        syslog(LOG_ERR, "JobFileHandlerJSON::ParseMedia - Invalid media type %s",
               value["type"].get_ref<const std::string&>().c_str());
        return nullptr;
    }
    if (!HasRequiredFiles(*item)) {
        syslog(LOG_ERR, "JobFileHandlerJSON::ParseMedia - Media type %s is missing files",
               value["type"].get_ref<const std::string&>().c_str());
        return nullptr;
    }
    ReadTextFields(value, mediaTextFields, item->id, *item);
    return item;
}

/// The item, or null for one whose values are of kinds that no validator looks at, such as an angle that is a text.
std::shared_ptr<Media> ParseMediaOrNothing(const json& value) {
    try {
        return ParseMedia(value);
    } catch (const std::exception& exception) {
        syslog(LOG_ERR, "JobFileHandlerJSON::ParseMedia - %s", exception.what());
        return nullptr;
    }
}

void ReadMedia(const json& document, Job& job) {
    job.ChangeSummary([](JobSummary& summary) {
        summary.jobSize = 0;
        summary.mediaCounts = MediaCounts();
    });
    if (!HasKey(document, "media"))
        return;
    for (const json& value : document["media"]) {
        if (std::shared_ptr<Media> item = ParseMediaOrNothing(value))
            job.AddMediaItem(std::move(item));
        else
            syslog(LOG_ERR, "JobFileHandlerJSON::ParseJobFile - Invalid media item.  Skipping");
    }
}

/// False for a text that could be written but not read again.
bool MayBeSaved(const std::string& text) {
    return text.size() <= largeJobFile || DocumentSize(text) <= largestDocument;
}

ParseJobText ParseInto(json& document) {
    return [&document](const std::string& text) { document = ParseJson(text); };
}

std::shared_ptr<JobFileBytes> FilesOfNoCard() {
    static const auto files = std::make_shared<JobFileBytes>();
    return files;
}

} // namespace

JobFileHandlerJSON::JobFileHandlerJSON() : JobFileHandlerJSON(FilesOfNoCard()) {}

jobFileOpRtn_e JobFileHandlerJSON::ParseJobFileSummary(Job& job) const try {
    JobText bytes;
    std::optional<JobSummary> summary;
    json document;
    const auto parse = [&summary, &document](std::string& text) {
        if (text.size() <= largeJobFile)
            summary = ReadSummaryFast(text);
        if (!summary)
            document = ParseJson(text, IsSummaryKey);
    };
    if (SafeJobOpen(*_files, job.JobFilePath(), bytes, parse) != JOBFILE_OP_SUCCEEDED)
        return JOBFILE_OP_FS_ERROR;
    if (!summary && !HasValidSummaryFields(document)) {
        syslog(LOG_ERR, "JobFileHandlerJSON::ParseJobFileSummary - Valid job summary fields check failed");
        return JOBFILE_OP_MISSING_FIELDS;
    }
    job.SetSummary(summary ? std::move(*summary) : ReadSummary(document));
    return JOBFILE_OP_SUCCEEDED;
} catch (const std::exception& exception) {
    syslog(LOG_ERR, "JobFileHandlerJSON::ParseJobFileSummary - %s", exception.what());
    return JOBFILE_OP_MISSING_FIELDS;
}

jobFileOpRtn_e JobFileHandlerJSON::ParseJobFile(Job& job) const try {
    JobText bytes;
    json document;
    if (SafeJobOpen(*_files, job.JobFilePath(), bytes, ParseInto(document)) != JOBFILE_OP_SUCCEEDED)
        return JOBFILE_OP_FS_ERROR;
    if (!HasValidJobFields(document)) {
        syslog(LOG_ERR, "JobFileHandlerJSON::ParseJobFile - Valid job fields check failed");
        return JOBFILE_OP_MISSING_FIELDS;
    }
    JobDetails details = ReadDetails(document, job.Id());
    job.ClearDetails();
    job.SetDetails(std::move(details));
    ReadMedia(document, job);
    return JOBFILE_OP_SUCCEEDED;
} catch (const std::exception& exception) {
    syslog(LOG_ERR, "JobFileHandlerJSON::ParseJobFile - %s", exception.what());
    return JOBFILE_OP_MISSING_FIELDS;
}

jobFileOpRtn_e JobFileHandlerJSON::UpdateJobFile(const Job& job) const {
    const std::string path = job.JobFilePath();
    const std::string text = job.JSONstring(JSON_MODE_FILE);
    if (!MayBeSaved(text) || !_files->Write(path, text)) {
        syslog(LOG_ERR, "%s: Failed to update job file %s", "UpdateJobFile", path.c_str());
        return JOBFILE_OP_FS_ERROR;
    }
    syslog(LOG_DEBUG, "%s: Updated job file %s", "UpdateJobFile", path.c_str());
    return JOBFILE_OP_SUCCEEDED;
}

jobFileOpRtn_e JobFileHandlerJSON::ExtractJobJson(const Job& job, json& document) const {
    JobText bytes;
    const jobFileOpRtn_e result = SafeJobOpen(*_files, job.JobFilePath(), bytes, ParseInto(document));
    if (result == JOBFILE_OP_SUCCEEDED)
        return JOBFILE_OP_SUCCEEDED;
    syslog(LOG_ERR, "JobFileHandlerJSON::ExtractJobJson - Failed to parse job file : %s", JobFileOpText(result));
    return JOBFILE_OP_FS_ERROR;
}

} // namespace JobsManagerD
