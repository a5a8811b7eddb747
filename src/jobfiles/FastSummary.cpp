#include "jobfiles/FastSummary.h"

#include "jobs/FastJson.h"

#include <algorithm>
#include <bitset>
#include <iterator>

namespace dom = simdjson::dom;

namespace JobsManagerD {
namespace {

/// A key of an object, and the reader of its value, which is false for a value that is not as expected.
template <typename Object>
struct Field {
    std::string_view key;
    bool (*read)(const dom::element& value, Object& object);
    bool mayBeMissing = false;
};

/// True when every value is as expected and no key is missing that has to be there.
template <typename Object, size_t count>
bool ReadObject(const dom::element& value, const Field<Object> (&fields)[count], Object& object) {
    dom::object members;
    if (value.get_object().get(members) != simdjson::SUCCESS)
        return false;
    object = Object();
    std::bitset<count> seen;
    // A walk, not a look-up: of a key that is given twice the later one counts.
    for (const dom::key_value_pair member : members) {
        size_t i = 0;
        while (i < count && fields[i].key != member.key)
            ++i;
        if (i == count)
            continue;
        if (!fields[i].read(member.value, object))
            return false;
        seen.set(i);
    }
    for (size_t i = 0; i < count; ++i)
        if (!seen[i] && !fields[i].mayBeMissing)
            return false;
    return true;
}

bool ReadValue(const dom::element& value, std::string& text) {
    std::string_view view;
    if (value.get_string().get(view) != simdjson::SUCCESS || view.empty())
        return false;
    text = view;
    return true;
}

bool ReadValue(const dom::element& value, bool& flag) { return value.get_bool().get(flag) == simdjson::SUCCESS; }

bool ReadValue(const dom::element& value, uint64_t& number) {
    return value.get_uint64().get(number) == simdjson::SUCCESS;
}

bool ReadValue(const dom::element& value, uint16_t& number) {
    uint64_t wide = 0;
    const bool isNumber = ReadValue(value, wide);
    number = static_cast<uint16_t>(wide);
    return isNumber;
}

bool ReadValue(const dom::element& value, jobType_e& type) {
    std::string keyword;
    const bool isText = ReadValue(value, keyword);
    type = JobTypeFromKeyword(keyword);
    return isText;
}

template <auto member, typename Object>
bool Read(const dom::element& value, Object& object) {
    return ReadValue(value, object.*member);
}

template <auto member, auto& fields, typename Object>
bool ReadInner(const dom::element& value, Object& object) {
    return ReadObject(value, fields, object.*member);
}

constexpr Field<Source> sourceFields[] = {
    {"model", Read<&Source::model>}, {"serial", Read<&Source::serial>}, {"version", Read<&Source::version>}};

constexpr Field<Timestamp> timestampFields[] = {{"createTime", Read<&Timestamp::createTime>},
                                                {"modifiedTime", Read<&Timestamp::modifiedTime>}};

constexpr Field<Position> positionFields[] = {{"latitude", Read<&Position::latitude>},
                                              {"longitude", Read<&Position::longitude>}};

constexpr Field<MediaCounts> mediaCountFields[] = {{"total", Read<&MediaCounts::total>},
                                                   {"autologs", Read<&MediaCounts::autologs>},
                                                   {"images", Read<&MediaCounts::images>},
                                                   {"photoTalks", Read<&MediaCounts::photoTalks>},
                                                   {"videos", Read<&MediaCounts::videos>}};

constexpr Field<JobSummary> summaryFields[] = {{"id", Read<&JobSummary::id>},
                                               {"version", Read<&JobSummary::version>},
                                               {"locked", Read<&JobSummary::locked>},
                                               {"source", ReadInner<&JobSummary::source, sourceFields>},
                                               {"timestamp", ReadInner<&JobSummary::timestamp, timestampFields>},
                                               {"type", Read<&JobSummary::type>},
                                               {"jobSize", Read<&JobSummary::jobSize>},
                                               {"mediaCounts", ReadInner<&JobSummary::mediaCounts, mediaCountFields>},
                                               {"name", Read<&JobSummary::name>, true},
                                               {"position", ReadInner<&JobSummary::position, positionFields>, true}};

} // namespace

bool IsSummaryKey(std::string_view key) {
    return std::ranges::find(summaryFields, key, &Field<JobSummary>::key) != std::end(summaryFields);
}

std::optional<JobSummary> ReadSummaryFast(std::string& text) {
    thread_local FastJsonParser parser;
    dom::element document;
    JobSummary summary;
    if (parser.Parse(text).get(document) != simdjson::SUCCESS || !ReadObject(document, summaryFields, summary))
        return std::nullopt;
    return summary;
}

} // namespace JobsManagerD
