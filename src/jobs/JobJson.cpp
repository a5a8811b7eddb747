#include "jobs/Job.h"
#include "jobs/TextFields.h"
#include "jobs/ValuesJson.h"

#include <algorithm>

namespace JobsManagerD {
namespace {

/// The media as they are written: the latest first.
void WriteMedia(JsonText& text, std::vector<std::shared_ptr<Media>> media, jsonMode mode) {
    std::ranges::sort(media, std::ranges::greater(),
                      [](const auto& item) -> const std::string& { return item->timestamp.createTime; });
    text.BeginArray();
    for (const auto& item : media)
        Write(text, *item, mode);
    text.EndArray();
}

template <typename... Value>
void WriteMember(JsonText& text, const char* key, const Value&... value) {
    text.Key(key);
    Write(text, value...);
}

} // namespace

void Job::WriteSummaryMembers(JsonText& text, jsonMode mode) const {
    const JobSummary summary = Summary();
    text.Member("id", summary.id);
    text.Member("jobSize", summary.jobSize);
    text.Member("locked", summary.locked);
    WriteMember(text, "mediaCounts", summary.mediaCounts);
    if (!summary.name.empty())
        text.Member("name", summary.name);
    WritePosition(text, summary.position, mode);
    WriteMember(text, "source", summary.source, mode);
    if (mode == JSON_MODE_CLIENT && _isSynced)
        text.Member("syncStatus", true);
    WriteMember(text, "timestamp", summary.timestamp);
    text.Member("type", JobTypeKeyword(summary.type));
    text.Member("version", summary.version);
}

void Job::WriteMembers(JsonText& text, jsonMode mode) const {
    WriteSummaryMembers(text, mode);
    const JobDetails& details = Details();
    WriteTextFields(text, jobTextFields, details, Id(), mode);
    if (!details.address.IsEmpty())
        WriteMember(text, "address", details.address, mode);
    if (!details.customer.IsEmpty())
        WriteMember(text, "customer", details.customer, mode);
    if (!details.contacts.empty())
        WriteMember(text, "contacts", details.contacts, mode);
    if (mode == JSON_MODE_FILE)
        text.Member("mediaFolder", details.mediaFolder);
    if (!details.media.empty()) {
        text.Key("media");
        WriteMedia(text, details.media, mode);
    }
}

std::string Job::SummaryJSONstring(jsonMode mode) const {
    JsonText text;
    text.BeginObject();
    WriteSummaryMembers(text, mode);
    text.EndObject();
    return text.Take();
}

std::string Job::JSONstring(jsonMode mode) const {
    JsonText text;
    text.BeginObject();
    WriteMembers(text, mode);
    text.EndObject();
    return text.Take();
}

std::string Job::AddressJSONstring() const { return WrittenText(Details().address, JSON_MODE_CLIENT); }

std::string Job::CustomerJSONstring() const { return WrittenText(Details().customer, JSON_MODE_CLIENT); }

jobRtn_e Job::ContactJSONstring(uint8_t id, std::string& text) const {
    Contact contact;
    const jobRtn_e result = GetContact(id, contact);
    if (result == JOB_RTN_SUCCEEDED)
        text = WrittenText(contact, JSON_MODE_CLIENT);
    return result;
}

std::string Job::ContactsJSONstring() const { return WrittenText(Details().contacts, JSON_MODE_CLIENT); }

} // namespace JobsManagerD
