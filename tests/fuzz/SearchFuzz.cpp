#include "Fuzz.h"
#include "jobs/Json.h"
#include "search/JobSearch.h"

using nlohmann::json;
using namespace JobsManagerD;

namespace {

std::optional<json> Parse(const std::string& text) {
    try {
        return ParseJson(text);
    } catch (const json::exception&) {
        return std::nullopt;
    }
}

std::string FindIn(const JobSearch& search, const json& document) {
    try {
        return search.FindIn(document).value_or("nothing");
    } catch (const json::exception&) {
        return "unreadable";
    }
}

} // namespace

/// A criterion and a case flag in one letter, the field structure up to a line feed, then the text of a job file: the
/// fast search decides as the exact one does, or leaves it undecided.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string input(reinterpret_cast<const char*>(data), size);
    const size_t end = input.find('\n');
    if (end == std::string::npos || end == 0)
        return 0;
    const auto letter = static_cast<uint8_t>(input[0]);
    const SearchTerm term{static_cast<matchCriterion_e>(letter % 4), {}, letter / 4 % 2 != 0};
    const std::optional<json> field = Parse(input.substr(1, end - 1));
    if (!field || field->empty() || !(field->is_object() || field->is_string()))
        return 0;

    const JobSearch search(*field, term);
    const std::string text = input.substr(end + 1);
    std::string copy = text;
    const JobSearch::Outcome fast = search.LookInto(copy);
    Fuzz::Require(copy == text, "the fast search restores the text");
    const std::optional<json> document = Parse(text);
    const std::string exact = document ? FindIn(search, *document) : "unreadable";
    if (fast.verdict == JobSearch::Verdict::found)
        Fuzz::Require(fast.match == exact, "a hit is told alike");
    if (fast.verdict == JobSearch::Verdict::notFound)
        Fuzz::Require(exact == "nothing" || !document, "a job that is ruled out holds no hit");
    return 0;
}
