#include "Fuzz.h"
#include "jobfiles/FastSummary.h"
#include "jobfiles/JobFileValidators.h"
#include "jobs/FastJson.h"
#include "jobs/ValuesJson.h"

using nlohmann::json;
using namespace JobsManagerD;

namespace {

std::string TextAt(const json& object, const char* key) {
    return HasKey(object, key) ? object[key].get<std::string>() : std::string();
}

bool IsSame(const MediaCounts& counts, const json& object) {
    const MediaCounts general = MediaCountsFromJson(object);
    return counts.total == general.total && counts.autologs == general.autologs && counts.images == general.images &&
           counts.photoTalks == general.photoTalks && counts.videos == general.videos;
}

bool IsSame(const JobSummary& fast, const json& document) {
    const json position = HasKey(document, "position") ? document["position"] : json();
    return fast.id == document["id"] && fast.version == document["version"] && fast.locked == document["locked"] &&
           fast.source.model == document["source"]["model"] && fast.source.serial == document["source"]["serial"] &&
           fast.source.version == document["source"]["version"] &&
           fast.timestamp.createTime == document["timestamp"]["createTime"] &&
           fast.timestamp.modifiedTime == document["timestamp"]["modifiedTime"] &&
           fast.type == JobTypeFromKeyword(document["type"]) &&
           fast.jobSize == JsonNumber<uint64_t>(document["jobSize"]) &&
           IsSame(fast.mediaCounts, document["mediaCounts"]) && fast.name == TextAt(document, "name") &&
           fast.position.latitude == TextAt(position, "latitude") &&
           fast.position.longitude == TextAt(position, "longitude");
}

} // namespace

/// The text of a job file, read by the fast parser and by the general one.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    json document;
    bool isParsed = true;
    try {
        document = ParseJson(text);
    } catch (const json::exception&) {
        isParsed = false;
    }

    std::string copy = text;
    static FastJsonParser parser;
    const bool isParsedFast = parser.Parse(copy).error() == simdjson::SUCCESS;
    Fuzz::Require(copy == text, "the fast parser restores the text");
    Fuzz::Require(isParsed || !isParsedFast, "what the fast parser accepts, the general one does");

    const bool isValid = isParsed && HasValidSummaryFields(document);
    const std::optional<JobSummary> fast = ReadSummaryFast(copy);
    Fuzz::Require(copy == text, "reading a summary restores the text");
    Fuzz::Require(isValid || !fast, "a summary that is read fast is valid");
    Fuzz::Require(!fast || IsSame(*fast, document), "both parsers read the same summary");
    return 0;
}
