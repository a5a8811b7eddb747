#include "search/JobSearch.h"

#include "jobs/Json.h"
#include "jobs/Scramble.h"

#include <chrono>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <strings.h>

using Json = nlohmann::json;

namespace JobsManagerD {
namespace {

/// The search as it is defined, by whole documents, and with the C library's comparisons.
namespace Plain {

bool Matches(const std::string& text, const SearchTerm& term) {
    switch (int{term.criterion}) {
    case 0:
        return term.isCaseSensitive ? text.find(term.text) != std::string::npos
                                    : strcasestr(text.c_str(), term.text.c_str()) != nullptr;
    case 1:
        return term.isCaseSensitive ? text.find(term.text) == 0
                                    : strncasecmp(text.c_str(), term.text.c_str(), term.text.size()) == 0;
    case 2:
        return term.isCaseSensitive ? text == term.text : strcasecmp(text.c_str(), term.text.c_str()) == 0;
    default:
        return false;
    }
}

bool MatchNotes(const Json& value, const SearchTerm& term, const std::string& fieldName, const std::string& key,
                Json& match) try {
    const bool hasNotes = value.is_object() && value.contains("privateNotes");
    if (!hasNotes && !(value.is_array() && fieldName == "privateNotes"))
        return false;
    const Json& notes = hasNotes ? value.at("privateNotes") : value;
    if (!notes.is_array())
        return false;
    std::vector<uint8_t> bytes;
    for (const Json& byte : notes)
        bytes.push_back(JsonNumber<uint8_t>(byte));
    const std::string text = UnscrambleBytes(bytes, key);
    if (!Matches(text, term))
        return false;
    match["term"]["privateNotes"] = text;
    return true;
} catch (const std::exception&) {
    return false;
}

bool SearchStruct(Json value, Json field, SearchTerm term, const std::string& key, Json& match) {
    std::string fieldName;
    while (field.is_object() && !field.empty()) {
        fieldName = field.begin().key();
        if (!value.is_object() || !value.contains(fieldName))
            return false;
        value = Json(value.at(fieldName));
        field = Json(field.begin().value());
        if (value.is_array())
            for (const Json& element : value)
                if (SearchStruct(element, field, term, key, match))
                    return true;
    }
    if (!field.is_string())
        return false;
    term.text = field;
    const Json flat = value.flatten();
    for (const auto& [pointer, text] : flat.items())
        if (text.is_string() && Matches(text, term)) {
            match["term"] = Json{{pointer, text}}.unflatten();
            return true;
        }
    return MatchNotes(value, term, fieldName, key, match);
}

std::optional<std::string> Search(Json document, const Json& field, const SearchTerm& term) {
    Json match;
    for (const std::string list : {"contacts", "media"}) {
        if (!(field.is_string() || field.contains(list)) || !document.contains(list))
            continue;
        const bool isMedia = list == "media";
        for (const Json& element : document[list]) {
            Json hit;
            if (!element.is_object() || !element.contains("id") || (isMedia && !element["id"].is_string()))
                continue;
            if (!SearchStruct(element, field.is_string() ? field : field[list], term,
                              isMedia ? element["id"] : Json("Irrelevant"), hit))
                continue;
            if (field.is_string())
                match["term"][list] = hit["term"];
            else
                match = hit;
            match[isMedia ? "mediaID" : "contactID"] = element["id"];
            return CompactDump(match);
        }
        if (!field.is_string())
            return std::nullopt;
        document.erase(list);
    }
    if (!document.contains("id") || !document["id"].is_string() ||
        !SearchStruct(document, field, term, document["id"], match))
        return std::nullopt;
    return CompactDump(match);
}

} // namespace Plain

/// What the general road tells; the fast one has to tell the same, or nothing.
std::optional<std::string> Search(const Json& field, const SearchTerm& term, std::string text) {
    const JobSearch search(field, term);
    const std::optional<std::string> general = search.FindIn(Json::parse(text));
    const JobSearch::Outcome fast = search.LookInto(text);
    if (fast.verdict != JobSearch::Verdict::undecided) {
        EXPECT_EQ(fast.verdict == JobSearch::Verdict::found, general.has_value()) << field << text;
        EXPECT_EQ(fast.match, general.value_or("")) << field << text;
    }
    return general;
}

/// Job files of odd shapes, as JSON texts, which can give a key twice.
class Generator {
public:
    explicit Generator(unsigned seed) : _random(seed) {}

    size_t Below(size_t limit) { return std::uniform_int_distribution<size_t>(0, limit - 1)(_random); }

    std::string JobFile() {
        std::string text = "{";
        for (const char* list : {"contacts", "media"})
            if (Below(3) != 0)
                text += Json(list).dump() + ":" + List() + ",";
        for (size_t i = Below(4); i > 0; --i)
            text += Json(Key()).dump() + ":" + Value(3) + ",";
        text += Notes();
        return text + "\"id\":" + (Below(9) == 0 ? Value(1) : "\"job\"") + "}";
    }
    Json Field() {
        if (Below(2) == 0)
            return Term();
        Json field = Below(4) == 0 ? Json::object({{Key(), 5}}) : Json(Term());
        for (size_t depth = 1 + Below(3); depth > 0; --depth) {
            field = Json::object({{Key(), field}});
            if (Below(5) == 0)
                field[Key()] = Term();
        }
        return field;
    }

private:
    std::string OneOf(const std::vector<std::string>& texts) { return texts[Below(texts.size())]; }
    std::string Term() {
        return OneOf({"an", "A", "ana", "", "x/y", "~", "\xC3\xA9", "m1", "1", std::string("a\0n", 3), "zebra", "job"});
    }
    std::string Key() {
        return OneOf({"a", "a!", "a/b", "a~", "ab", "0", "1", "10", "", "\xC3\xBC", std::string("a\0", 2), "id",
                      "notes", "privateNotes", "contacts", "media"});
    }
    std::string Text() {
        const std::string text =
            OneOf({"banana", "Anna", "plain", "x/y ~", "caf\xC3\xA9", "", "m1", std::string("b\0an", 4)});
        return Json(text).dump(-1, ' ', Below(2) == 0);
    }
    std::string Notes() {
        if (Below(2) == 0)
            return "";
        const std::string odd = OneOf({"[]", "[5]", "[300,-1,65.5]", R"(["text"])", "5", "{}", "[ 7 ]"});
        const std::string key = OneOf({"job", "m1", "Irrelevant"});
        return R"("privateNotes":)" + (Below(3) == 0 ? odd : Json(ScrambleBytes("an \xFF owner", key)).dump()) + ",";
    }
    std::string Item() {
        if (Below(6) == 0)
            return Value(2);
        const std::string id = OneOf({R"("m1")", R"("")", "7", "1.5", "null", "[1]", R"("m\u00e9")"});
        return "{" + Notes() + Json(Key()).dump() + ":" + Value(2) + ",\"id\":" + id + "}";
    }
    std::string List() {
        const bool isObject = Below(4) == 0;
        std::string text = isObject ? "{" : "[";
        for (size_t i = Below(4); i > 0; --i)
            text += (isObject ? Json(Key()).dump() + ":" : "") + Item() + ",";
        return text + (isObject ? R"("z":5})" : "5]");
    }
    std::string Value(size_t depth) {
        const size_t kind = Below(depth == 0 ? 2 : 4);
        if (kind == 0)
            return OneOf({"1", "-1", "0.5", "1e9", "true", "null", "[]", "{}", "18446744073709551615"});
        if (kind == 1)
            return Text();
        const bool isArray = kind == 2;
        std::string text = isArray ? "[" : "{";
        for (size_t i = isArray && Below(4) == 0 ? 9 + Below(120) : Below(4); i > 0; --i)
            text += (isArray ? "" : Json(Key()).dump() + ":") + Value(Below(8) == 0 ? depth - 1 : 0) + ",";
        return text + (isArray ? "0]" : Json(Key()).dump() + ":" + Value(depth - 1) + "}");
    }

    std::mt19937 _random;
};

TEST(JobSearchTest, TellsWhatThePlainAlgorithmTells) {
    size_t hits = 0;
    for (unsigned seed = 0; seed < 3000; ++seed) {
        Generator generator(seed);
        const Json field = generator.Field();
        const SearchTerm term{static_cast<matchCriterion_e>(generator.Below(4)), "", generator.Below(2) == 0};
        const std::string text = generator.JobFile();
        const std::optional<std::string> found = Search(field, term, text);
        ASSERT_EQ(found, Plain::Search(Json::parse(text), field, term))
            << seed << ' ' << field << ' ' << int{term.criterion} << term.isCaseSensitive << ' ' << text;
        hits += found.has_value();
    }
    EXPECT_GT(hits, 300u);
}

TEST(JobSearchTest, PointersAreOrderedAsTexts) {
    EXPECT_EQ(Search("an", {}, R"({"id":"j","a":{"b":"an"},"a!":"an"})"), R"({"term":{"a!":"an"}})");
    EXPECT_EQ(Search("an", {}, R"({"id":"j","ab":"an","a":{"b":"an"}})"), R"({"term":{"a":{"b":"an"}}})");
    EXPECT_EQ(Search("an", {}, R"({"id":"j","x/y":"an"})"), R"({"term":{"x/y":"an"}})");
    EXPECT_EQ(Search("an", {}, R"({"id":"j","l":[0,0,"an",0,0,0,0,0,0,0,["an"]]})"), R"({"term":{"l":{"10":["an"]}}})")
        << "a 0 alone begins an array";
}

TEST(JobSearchTest, AnOddItemHidesNothingButItself) {
    const std::string text = R"({"id":"j","media":[{"id":7,"notes":"crack"},{"id":"m","privateNotes":["x"]},)"
                             R"({"id":"m2","notes":"crack"}]})";
    EXPECT_EQ(Search("crack", {}, text), R"({"mediaID":"m2","term":{"media":{"notes":"crack"}}})");
    EXPECT_EQ(Search(Json{{"media", {{"notes", "crack"}}}}, {}, text), R"({"mediaID":"m2","term":"crack"})");
    EXPECT_EQ(Search("j", {}, text), R"({"term":{"id":"j"}})");
}

TEST(JobSearchTest, AKeyWithANulIsAKeyLikeAnyOther) {
    const std::string key("notes\0x", 7);
    EXPECT_EQ(Search(Json{{key, ""}}, {}, R"({"id":"j","notes":"n"})"), std::nullopt);
    EXPECT_EQ(Search(Json{{key, "n"}}, {}, R"({"id":"j","notes\u0000x":"n"})"), R"({"term":"n"})");
}

TEST(JobSearchTest, LeavesUndecidedWhatItCannotTell) {
    const JobSearch search("zebra", {});
    for (const char* text : {R"({"notes":)", "\xEF\xBB\xBF{}", R"({"id":"j","n":123456789012345678901234567890})"}) {
        std::string copy = text;
        EXPECT_EQ(search.LookInto(copy).verdict, JobSearch::Verdict::undecided) << text;
        EXPECT_EQ(copy, text);
    }
    std::string longHit = Json{{"id", "j"}, {"notes", "zebra" + std::string(100'000, 'x')}}.dump();
    EXPECT_EQ(search.LookInto(longHit).verdict, JobSearch::Verdict::undecided);
    std::string any = R"({"id":"j"})";
    EXPECT_EQ(JobSearch(Json{{"id", 5}}, {}).LookInto(any).verdict, JobSearch::Verdict::undecided);
}

TEST(JobSearchTest, ManyIdsAndManyNumberArraysCostLinearTime) {
    std::string text = R"({"media":[{"id":"m")";
    for (int i = 0; i < 40'000; ++i)
        text += R"(,"id":"m","n":[1,2,3])";
    text += R"(}],"id":"j"})";
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(JobSearch("zebra", {}).LookInto(text).verdict, JobSearch::Verdict::notFound);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << "by pairs it takes minutes";
}

} // namespace
} // namespace JobsManagerD
