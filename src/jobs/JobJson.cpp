#include "jobs/Job.h"
#include "jobs/Scramble.h"
#include "jobs/ValuesJson.h"

#include <algorithm>

using nlohmann::json;

namespace JobsManagerD {
namespace {

/// The media as they are written: the latest first.
json MediaToJson(std::vector<std::shared_ptr<Media>> media, jsonMode mode) {
    std::ranges::sort(media, std::ranges::greater(),
                      [](const auto& item) -> const std::string& { return item->timestamp.createTime; });
    json array = json::array();
    for (const auto& item : media)
        array.push_back(ToJson(*item, mode));
    return array;
}

} // namespace

json Job::SummaryToJson(jsonMode mode) const {
    const JobSummary summary = Summary();
    // Key by key: a list of pairs would be built, copied and thrown away.
    json object = json::object();
    object["id"] = summary.id;
    object["jobSize"] = summary.jobSize;
    object["mediaCounts"] = JobsManagerD::ToJson(summary.mediaCounts);
    object["source"] = JobsManagerD::ToJson(summary.source);
    object["timestamp"] = JobsManagerD::ToJson(summary.timestamp);
    object["type"] = JobTypeKeyword(summary.type);
    object["version"] = summary.version;
    object["locked"] = summary.locked;
    if (!summary.name.empty())
        object["name"] = summary.name;
    if (summary.position.IsSet())
        object["position"] = JobsManagerD::ToJson(summary.position);
    if (mode == JSON_MODE_CLIENT && _isSynced)
        object["syncStatus"] = true;
    return object;
}

json Job::ToJson(jsonMode mode) const {
    json object = SummaryToJson(mode);
    const JobDetails& details = Details();
    if (!details.notes.empty())
        object["notes"] = details.notes;
    if (!details.privateNotes.empty() && mode == JSON_MODE_FILE)
        object["privateNotes"] = ScrambleBytes(details.privateNotes, Id());
    else if (!details.privateNotes.empty())
        object["privateNotes"] = details.privateNotes;
    if (!details.address.IsEmpty())
        object["address"] = JobsManagerD::ToJson(details.address);
    if (!details.customer.IsEmpty())
        object["customer"] = JobsManagerD::ToJson(details.customer, mode);
    if (!details.contacts.empty())
        object["contacts"] = JobsManagerD::ToJson(details.contacts, mode);
    if (!details.userData.empty())
        object["userData"] = UserDataToJson(details.userData, mode);
    if (mode == JSON_MODE_FILE)
        object["mediaFolder"] = details.mediaFolder;
    if (!details.media.empty())
        object["media"] = MediaToJson(details.media, mode);
    return object;
}

std::string Job::SummaryJSONstring() const { return CompactDump(SummaryToJson(JSON_MODE_CLIENT)); }

std::string Job::AddressJSONstring() const { return CompactDump(JobsManagerD::ToJson(Details().address)); }

std::string Job::CustomerJSONstring() const {
    return CompactDump(JobsManagerD::ToJson(Details().customer, JSON_MODE_CLIENT));
}

jobRtn_e Job::ContactJSONstring(uint8_t id, std::string& text) const {
    Contact contact;
    const jobRtn_e result = GetContact(id, contact);
    if (result == JOB_RTN_SUCCEEDED)
        text = CompactDump(JobsManagerD::ToJson(contact, JSON_MODE_CLIENT));
    return result;
}

std::string Job::ContactsJSONstring() const {
    return CompactDump(JobsManagerD::ToJson(Details().contacts, JSON_MODE_CLIENT));
}

} // namespace JobsManagerD
