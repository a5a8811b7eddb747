#include "jobs/Media.h"

#include "jobs/Json.h"
#include "jobs/SampleJob.h"
#include "jobs/ValuesJson.h"

#include <gtest/gtest.h>

using nlohmann::json;

namespace JobsManagerD {
namespace {

TEST(Media, WritesWhatIsSet) {
    Media bare;
    bare.id = "m0";
    EXPECT_EQ(WrittenText(bare, JSON_MODE_FILE),
              R"({"files":[],"id":"m0","isIncludedInReport":false,)"
              R"("source":{"model":"unknown","serial":"unknown","version":"unknown"},)"
              R"("timestamp":{"createTime":"","modifiedTime":""},"type":"none"})");

    bare.cameraRollAngle = 0;
    bare.distance = {true, 0, 0};
    bare.position.longitude = "2.5";
    const json written = json::parse(WrittenText(bare, JSON_MODE_CLIENT));
    EXPECT_EQ(written["cameraRollAngle"], 0);
    EXPECT_FALSE(written.contains("cameraInclinometerAngle"));
    EXPECT_EQ(CompactDump(written["distance"]), R"({"absolute":0,"relative":0})");
    EXPECT_EQ(CompactDump(written["position"]), R"({"latitude":"","longitude":"2.5"})");
}

TEST(Media, ClientsSeeNotesAndStatesAndTheFileDoesNot) {
    Job job;
    Testing::FillSampleJob(job);
    const auto item = job.GetMediaItem("m2");
    item->files[0].state = MEDIA_FILE_STATE_UNPLAYABLE;
    item->files.push_back({MEDIA_FILE_MISC_DATA, "ok", 1, MEDIA_FILE_STATE_OK});

    const json file = json::parse(WrittenText(*item, JSON_MODE_FILE));
    EXPECT_EQ(CompactDump(file["privateNotes"]), "[21,75]");
    EXPECT_EQ(CompactDump(file["files"]),
              R"([{"name":"m2-imageFile","size":10,"type":"imageFile"},{"name":"ok","size":1,"type":"miscDataFile"}])");

    const json client = json::parse(WrittenText(*item, JSON_MODE_CLIENT));
    EXPECT_EQ(client["privateNotes"], "xy");
    EXPECT_EQ(CompactDump(client["files"]),
              R"([{"name":"m2-imageFile","size":10,"state":"unplayable","type":"imageFile"},)"
              R"({"name":"ok","size":1,"type":"miscDataFile"}])");
}

TEST(Media, NotesThatAreNoUtf8ReachTheClientReplaced) {
    Media item;
    item.id = "m1";
    item.privateNotes = "a\x80z";
    item.notes = "\xff";
    EXPECT_EQ(CompactDump(json::parse(WrittenText(item, JSON_MODE_CLIENT))["privateNotes"]), "\"a\uFFFDz\"");
    EXPECT_EQ(CompactDump(json::parse(WrittenText(item, JSON_MODE_CLIENT))["notes"]), "\"\uFFFD\"");
    EXPECT_EQ(json::parse(WrittenText(item, JSON_MODE_FILE))["privateNotes"].size(), 3u);
}

struct UserDataRow {
    std::string text;
    std::string inFile;   // as JSON
    std::string toClient; // as JSON
};

/// In the job file a value that its reader would refuse stands as the raw text.
TEST(UserData, TakesTheFormOfItsReader) {
    const std::vector<UserDataRow> rows{
        {R"({ "b" : 1, "a" : [ {} ] })", R"({"a":[{}],"b":1})", R"({"a":[{}],"b":1})"},
        {"[1, null]", "[1,null]", "[1,null]"},
        {R"("text")", R"("text")", R"("text")"},
        {"bare word", R"("bare word")", R"("bare word")"},
        {"{broken", R"("{broken")", R"("{broken")"},
        {"{} trailing", R"("{} trailing")", R"("{} trailing")"},
        {"5", R"("5")", "5"},
        {"-1.5", R"("-1.5")", "-1.5"},
        {"true", R"("true")", "true"},
        {"null", R"("null")", "null"},
        {R"("")", R"("\"\"")", R"("")"},
        {"1e999", R"("1e999")", R"("1e999")"},
        {R"({"a":1e999})", R"("{\"a\":1e999}")", R"("{\"a\":1e999}")"},
        {"\xff", "\"\uFFFD\"", "\"\uFFFD\""},
    };
    for (const UserDataRow& row : rows) {
        EXPECT_EQ(UserDataToJson(row.text, JSON_MODE_FILE), row.inFile) << row.text;
        EXPECT_EQ(UserDataToJson(row.text, JSON_MODE_CLIENT), row.toClient) << row.text;
    }
}

TEST(UserData, NestedDeeperThanCanBeReadStaysText) {
    const std::string deep = std::string(100000, '[') + std::string(100000, ']');
    for (const jsonMode mode : {JSON_MODE_FILE, JSON_MODE_CLIENT})
        EXPECT_EQ(UserDataToJson(deep, mode), CompactDump(deep));
    EXPECT_THROW(ParseJson(deep), json::exception);
    EXPECT_THROW(ParseJson(std::string(100000, '[')), json::exception);

    const std::string bracketsInText = json(deep + "\\\"" + deep).dump();
    EXPECT_TRUE(ParseJson(bracketsInText).is_string()) << "brackets inside a string do not nest";
    std::string wide = "[";
    for (int i = 0; i < 5000; ++i)
        wide += "[],";
    EXPECT_EQ(ParseJson(wide + "{}]").size(), 5001u) << "brackets beside each other do not nest";
}

TEST(Json, AValueAsTextIsAnObjectOrAText) {
    EXPECT_EQ(JsonValueAsText(json::parse(R"({ "b": 1, "a": "\u00d8" })")), R"({"a":"Ø","b":1})");
    EXPECT_EQ(JsonValueAsText("text"), "text");
    for (const json& other : {json(), json(5), json(true), json(""), json::array({"text"})})
        EXPECT_EQ(JsonValueAsText(other), "") << other;
}

} // namespace
} // namespace JobsManagerD
