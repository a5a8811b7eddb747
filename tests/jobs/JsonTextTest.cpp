#include "jobs/JsonText.h"

#include "jobs/Json.h"
#include "jobs/SampleJob.h"

#include <gtest/gtest.h>
#include <random>

using nlohmann::json;

namespace JobsManagerD {
namespace {

/// Writes the same document twice, here and with the library.
void WriteAlike(std::mt19937& random, int depth, JsonText& text, json& document) {
    static const std::vector<std::string> texts{
        "plain",      "",           "\"quoted\" \\ /", "Ørsted",       "line\nand\ttab", std::string("\0\x1f\x7f", 3),
        "\xff",       "a\xc3",      "\xe2\x82z",       "\xf0\x9f\x98", "\xed\xa0\x80",   "\xc0\xaf",
        "\u20ac\xe2", "\U0001F600",
    };
    const auto any = [&random](size_t below) { return random() % below; };
    switch (any(depth > 4 ? 4 : 6)) {
    case 0:
        document = texts[any(texts.size())];
        return text.Value(document.get_ref<const std::string&>());
    case 1:
        document = any(2) == 0;
        return text.Value(document.get<bool>());
    case 2:
        document = static_cast<int32_t>(random());
        return text.Value(document.get<int32_t>());
    case 3:
        document = (uint64_t{random()} << 32) + random();
        return text.Value(document.get<uint64_t>());
    case 4:
        text.BeginArray();
        document = json::array();
        for (size_t left = any(5); left > 0; --left)
            WriteAlike(random, depth + 1, text, document.emplace_back());
        return text.EndArray();
    default:
        text.BeginObject();
        document = json::object();
        for (size_t left = any(7); left > 0; --left) {
            const std::string& key = texts[any(texts.size())];
            text.Key(key);
            WriteAlike(random, depth + 1, text, document[key] = json());
        }
        text.EndObject();
    }
}

TEST(JsonTextTest, WritesWhatTheLibraryDumps) {
    std::mt19937 random(7);
    size_t bytes = 0;
    for (int round = 0; round < 5000; ++round) {
        JsonText text;
        json document;
        WriteAlike(random, 0, text, document);
        const std::string written = text.Take();
        ASSERT_EQ(written, CompactDump(document)) << round;
        bytes += written.size();
    }
    EXPECT_GT(bytes, 100000u);
}

/// Every combination of fields that are set and that are not, in keys as in values with bytes that are no UTF-8.
TEST(JsonTextTest, AJobIsWrittenAsTheLibraryWouldDumpIt) {
    constexpr unsigned combinations = 1 << 10;
    for (unsigned fields = 0; fields < combinations; ++fields) {
        Job job("/card/J/job.json");
        Testing::FillSampleJob(job);
        JobDetails& details = job.Details();
        const auto isLeftOut = [fields](int bit) { return ((fields >> bit) & 1U) != 0; };
        if (isLeftOut(0))
            job.ChangeSummary([](JobSummary& summary) { summary.name = "\xff \"n\""; });
        if (isLeftOut(1))
            job.ChangeSummary([](JobSummary& summary) { summary.position = Position(); });
        if (isLeftOut(2))
            details.notes.clear();
        if (isLeftOut(3))
            details.privateNotes.clear();
        if (isLeftOut(4))
            details.address.fields = {{"a\xff", "1"}, {"position", "2"}, {"zone", "3"}};
        if (isLeftOut(5))
            details.customer = Contact();
        if (isLeftOut(6))
            details.contacts[0].names = {{"id", "x"}, {"address", "y"}, {"zz", "\xc3"}};
        if (isLeftOut(7))
            details.userData = "{broken";
        if (isLeftOut(8))
            details.media.clear();
        if (isLeftOut(9) && !isLeftOut(8))
            *job.GetMediaItem("m1") = Media();
        for (const jsonMode mode : {JSON_MODE_FILE, JSON_MODE_CLIENT}) {
            const std::string text = job.JSONstring(mode);
            ASSERT_EQ(text, CompactDump(json::parse(text))) << fields;
        }
    }
}

} // namespace
} // namespace JobsManagerD
