#include "Fuzz.h"
#include "jobfiles/JobFileHandlerJSON.h"
#include "jobs/Job.h"
#include "jobs/Json.h"

using namespace JobsManagerD;

namespace {

using Apply = void (*)(Job& job, const std::string& text);

void AddContact(Job& job, const std::string& text) {
    uint8_t id = 0;
    const bool isAdded = job.AddContactByJSONstring(text, id) == JOB_RTN_SUCCEEDED;
    Fuzz::Require(isAdded == (id != 0), "an added contact has an ID");
}

/// As the settings service sends it.
void SetCompanyContact(Job& job, const std::string& text) {
    nlohmann::json contact;
    try {
        contact = ParseJson(text);
    } catch (const nlohmann::json::exception&) {
        return;
    }
    job.SetCompanyContactByJSONstring(contact, companyContactSource);
}

constexpr Apply calls[] = {
    [](Job& job, const std::string& text) { job.SetAddressByJSONstring(text); },
    [](Job& job, const std::string& text) { job.SetCustomerByJSONstring(text); },
    AddContact,
    [](Job& job, const std::string& text) { job.UpdateContactByJSONstring(text); },
    SetCompanyContact,
    [](Job& job, const std::string& text) { job.Details().userData = text; },
    [](Job& job, const std::string& text) { job.Details().notes = text; },
    [](Job& job, const std::string& text) { job.Details().privateNotes = text; },
};

/// The bus carries no other texts.
bool IsBusText(const std::string& text) {
    try {
        nlohmann::json(text).dump();
        return text.find('\0') == std::string::npos;
    } catch (const nlohmann::json::exception&) {
        return false;
    }
}

bool Read(const std::string& path, Job& job) {
    const JobFileHandlerJSON handler;
    job.SetJobFilePath(path);
    return handler.ParseJobFileSummary(job) == JOBFILE_OP_SUCCEEDED &&
           handler.ParseJobFile(job) == JOBFILE_OP_SUCCEEDED;
}

void OpenSampleJob(Job& job) {
    JobSummary summary;
    summary.id = "job-1";
    summary.version = currentJobVersion;
    summary.source = {"Reel", "S1", "1.2"};
    summary.timestamp = {"2024-05-01T08:00:00Z", "2024-05-02T09:30:00Z"};
    job.SetSummary(summary);
    JobDetails details;
    details.mediaFolder = "media";
    job.SetDetails(details);
    uint8_t id = 0;
    job.AddContactByJSONstring(R"({"firstName":"Ann"})", id);
}

} // namespace

/// Lines of texts that clients send for a job, each behind a letter that names the call.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const Fuzz::TemporaryFolder card;
    Job job;
    OpenSampleJob(job);
    std::string_view rest(reinterpret_cast<const char*>(data), size);
    while (!rest.empty()) {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        const std::string text(line.substr(std::min<size_t>(line.size(), 1)));
        if (!line.empty() && IsBusText(text))
            calls[static_cast<uint8_t>(line[0]) % std::size(calls)](job, text);
    }
    Fuzz::Require(nlohmann::json::accept(job.JSONstring(JSON_MODE_CLIENT)), "clients get JSON");
    nlohmann::json saved = nlohmann::json::parse(job.JSONstring(JSON_MODE_FILE));
    Job again;
    Fuzz::Require(Read(card.Write("job/job.json", CompactDump(saved)), again),
                  "whatever clients send, the saved job is read");
    // An array stays in the file, for others to read; the service itself does not take it up.
    if (HasKey(saved, "userData") && saved["userData"].is_array())
        saved.erase("userData");
    Fuzz::Require(again.JSONstring(JSON_MODE_FILE) == CompactDump(saved), "and read as it was");
    return 0;
}
