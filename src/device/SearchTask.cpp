#include "device/JobOrder.h"
#include "device/ReadAhead.h"
#include "device/RunningTask.h"
#include "device/SearchRecord.h"
#include "fsutil/Paths.h"
#include "fsutil/Times.h"
#include "jobs/Json.h"
#include "jobs/Scramble.h"
#include "search/SearchFilter.h"

#include <optional>
#include <syslog.h>

using nlohmann::json;

namespace JobsManagerD {
namespace {

constexpr const char* noKey = "Irrelevant";

/// The one text that a field structure leads to: the first key of each object is followed. Null for a structure that
/// leads to anything else, and for one of several keys, since contacts and media are looked for at any of them.
const std::string* TermOf(const json& field) {
    if (field.is_object() && field.size() > 1)
        return nullptr;
    const json* leaf = &field;
    while (leaf->is_object() && !leaf->empty())
        leaf = &leaf->begin().value();
    return leaf->get_ptr<const json::string_t*>();
}

/// A hit by texts below the place that was reached.
bool MatchTexts(const json& value, const SearchTerm& term, json& match) {
    const json flat = value.flatten();
    for (const auto& [pointer, text] : flat.items()) {
        if (!text.is_string() || !term.Matches(text.get_ref<const std::string&>()))
            continue;
        match["term"] = json{{pointer, text}}.unflatten();
        return true;
    }
    return false;
}

/// Private notes are numbers in the file, so no text matched them.
bool MatchPrivateNotes(const json& value, const SearchTerm& term, const std::string& fieldName, const std::string& key,
                       json& match) {
    const json* notes = nullptr;
    if (HasKey(value, "privateNotes"))
        notes = &value["privateNotes"];
    else if (value.is_array() && fieldName == "privateNotes")
        notes = &value;
    if (!notes || !notes->is_array())
        return false;
    std::vector<uint8_t> bytes;
    for (const json& byte : *notes)
        bytes.push_back(JsonNumber<uint8_t>(byte));
    const std::string text = UnscrambleBytes(bytes, key);
    if (!term.Matches(text))
        return false;
    match["term"]["privateNotes"] = text;
    return true;
}

bool _SearchValues(const json& value, const SearchTerm& term, const std::string& fieldName, const std::string& key,
                   json& match) {
    return MatchTexts(value, term, match) || MatchPrivateNotes(value, term, fieldName, key, match);
}

bool SearchJsonStructForString(const json& start, const json& structure, SearchTerm term, const std::string& key,
                               json& match) {
    const json* value = &start;
    const json* field = &structure;
    std::string fieldName;
    while (field->is_object() && !field->empty()) {
        fieldName = field->begin().key();
        if (!HasKey(*value, fieldName.c_str()))
            return false;
        value = &(*value)[fieldName];
        field = &field->begin().value();
        if (!value->is_array())
            continue;
        for (const json& element : *value)
            if (SearchJsonStructForString(element, *field, term, key, match))
                return true;
    }
    if (!field->is_string()) {
        syslog(LOG_ERR,
               "ManagedDevice::SearchJsonStructForString Entry - fieldStruct at search term is not a string %s",
               CompactDump(*field).c_str());
        return false;
    }
    term.text = field->get<std::string>();
    return _SearchValues(*value, term, fieldName, key, match);
}

/// A list of a job whose elements are searched one by one, and how a hit in one is told.
struct Elements {
    const char* listKey;
    const char* idKey;
    /// Each element's own ID decodes its private notes.
    bool haveNotes;
};

constexpr Elements contacts{"contacts", "contactID", false};
constexpr Elements media{"media", "mediaID", true};

enum class Outcome { found, notFound, goOn };

/// Goes on for a field that does not name the list, and for a text field that is not found in it; the list is then
/// taken out of the document.
Outcome SearchElements(json& document, const Elements& elements, const json& field, const SearchTerm& term,
                       json& match) {
    const bool isText = field.is_string();
    if (!(isText || HasKey(field, elements.listKey)) || !HasKey(document, elements.listKey))
        return Outcome::goOn;
    const json& sub = isText ? field : field[elements.listKey];
    for (const json& element : document[elements.listKey]) {
        if (!HasKey(element, "id"))
            continue;
        json hit;
        const std::string key = elements.haveNotes ? element["id"].get<std::string>() : noKey;
        if (!SearchJsonStructForString(element, sub, term, key, hit))
            continue;
        if (isText)
            match["term"][elements.listKey] = hit["term"];
        else
            match = hit;
        match[elements.idKey] = element["id"];
        return Outcome::found;
    }
    if (!isText)
        return Outcome::notFound;
    document.erase(elements.listKey);
    return Outcome::goOn;
}

bool SearchDocument(json& document, const json& field, const SearchTerm& term, json& match) {
    for (const Elements& elements : {contacts, media}) {
        const Outcome outcome = SearchElements(document, elements, field, term, match);
        if (outcome != Outcome::goOn)
            return outcome == Outcome::found;
    }
    if (!HasKey(document, "id"))
        return false;
    return SearchJsonStructForString(document, field, term, document["id"].get<std::string>(), match);
}

} // namespace

jobsDaemonRtn_e ManagedDevice::SearchJobs(const std::string& fieldStructure, const SearchTerm& term,
                                          uint16_t matchLimit) {
    json field;
    try {
        field = ParseJson(fieldStructure);
    } catch (const json::exception& exception) {
        syslog(LOG_ERR, "%s - Failed to parse field structure: %s\n%s", "SearchJobs", exception.what(),
               fieldStructure.c_str());
        return JOBS_RTN_INVALID_JSON;
    }
    if (field.empty()) {
        syslog(LOG_ERR, "%s - Field structure does not contain a searchTerm: %s", "SearchJobs",
               CompactDump(field).c_str());
        return JOBS_RTN_MISSING_FIELDS;
    }
    if (!field.is_object() && !field.is_string()) {
        syslog(LOG_ERR, "%s - Field structure must be object or string: %s", "SearchJobs", CompactDump(field).c_str());
        return JOBS_RTN_MISSING_FIELDS;
    }
    _searchCancel = true;
    if (_searchThread.joinable())
        _searchThread.join();
    _searchCancel = false;
    _searchThread = std::thread([self = shared_from_this(), field, term, matchLimit] {
        const RunningTask running;
        self->_SearchJobsTask(field, term, matchLimit);
    });
    return JOBS_RTN_SUCCEEDED;
}

void ManagedDevice::_SearchJobsTask(const json& field, const SearchTerm& term, uint16_t matchLimit) {
    timeval timer{};
    gettimeofday(&timer, nullptr);
    {
        const std::lock_guard lock(_searchMutex);
        *_search = {field, term, matchLimit, {}};
    }
    std::vector<JobList::Entry> jobs;
    size_t size = 0;
    _jobs.Page(SORT_BY_MODIFIED_TIME, false, 0, 0, jobs, size);
    _SearchAll(jobs, field, term, matchLimit);
    if (!_searchCancel) {
        _jobSearchComplete.Raise(*this);
        syslog(LOG_INFO, "---------------------------------");
        syslog(LOG_INFO, "Search took %fs", GetElapsedTime(timer, false));
        syslog(LOG_INFO, "---------------------------------");
    }
    _searchCancel = false;
}

void ManagedDevice::_SearchAll(const std::vector<JobList::Entry>& jobs, const json& field, const SearchTerm& term,
                               uint16_t matchLimit) {
    // A NUL ends the term for some of the comparisons and not for others.
    const std::string* const text = TermOf(field);
    std::optional<SearchFilter> filter;
    if (text && text->find('\0') == std::string::npos)
        filter.emplace(*text);

    // Looked at some jobs ahead, without a word in the log: what is not ruled out is searched in its turn.
    ReadAhead<bool> ruledOut(jobs.size(), [&jobs, &filter](size_t number) {
        const std::string path = jobs[number]->JobFilePath();
        return filter && GetPathExtension(path) == "json" && filter->RulesOut(path);
    });
    for (const JobList::Entry& job : jobs) {
        if (_searchCancel) {
            const std::lock_guard lock(_searchMutex);
            _search->results.clear();
            return;
        }
        if (ruledOut.Next())
            continue;
        bool found = false;
        json match;
        if (SearchJob(*job, field, term, found, match) != JOBS_RTN_SUCCEEDED || !found)
            continue;
        json result = job->SummaryToJson(JSON_MODE_CLIENT);
        result["matchResult"] = std::move(match);
        const std::lock_guard lock(_searchMutex);
        _search->results.push_back(CompactDump(result));
        if (matchLimit != 0 && _search->results.size() == matchLimit)
            return;
    }
}

jobsDaemonRtn_e ManagedDevice::SearchJob(const Job& job, const json& field, const SearchTerm& term, bool& found,
                                         json& match) const try {
    found = false;
    match = json();
    if (job.IsLegacy())
        return JOBS_RTN_UNSUPPORTED_FORMAT;
    const std::string path = job.JobFilePath();
    if (const jobsDaemonRtn_e format = _card.Files().CheckFormat(job, "SearchJob"); format != JOBS_RTN_SUCCEEDED)
        return format;
    json document;
    const jobFileOpRtn_e result = _card.Files().ExtractJson(job, document);
    if (result != JOBFILE_OP_SUCCEEDED) {
        syslog(LOG_ERR, "ManagedDevice::SearchJob - Failed to parse job file %s : %s", path.c_str(),
               JobFileOpText(result));
        return ConvertFileOpRtn(result);
    }
    found = SearchDocument(document, field, term, match);
    return JOBS_RTN_SUCCEEDED;
} catch (const std::exception& exception) {
    // A file may hold anything; the search goes on without it.
    syslog(LOG_ERR, "ManagedDevice::SearchJob - %s: %s", job.JobFilePath().c_str(), exception.what());
    return JOBS_RTN_JOB_FILE_MISSING_FIELDS;
}

} // namespace JobsManagerD
