#include "jobs/Media.h"
#include "jobs/Scramble.h"
#include "jobs/ValuesJson.h"

#include "fsutil/LogLines.h"

#include <gtest/gtest.h>
#include <stdexcept>

using nlohmann::json;

namespace JobsManagerD {
namespace {

using Testing::Lines;

TEST(Values, APositionWithOneTextIsSetButNotValid) {
    const Address address{{}, {"", "2.5"}};
    const std::string written = WrittenText(address, JSON_MODE_CLIENT);
    EXPECT_EQ(written, R"({"position":{"latitude":"","longitude":"2.5"}})");
    EXPECT_EQ(WrittenText(address, JSON_MODE_FILE), "{}") << "no reader of a file would take it";
    EXPECT_EQ(WrittenText(Address{{{"city", "Port"}}, {}}, JSON_MODE_FILE), R"({"city":"Port"})");
    EXPECT_EQ(WrittenText(Source{"Reel", "", "1"}, JSON_MODE_FILE),
              R"({"model":"Reel","serial":"unknown","version":"1"})");
    EXPECT_EQ(WrittenText(Source{"Reel", "", "1"}, JSON_MODE_CLIENT), R"({"model":"Reel","serial":"","version":"1"})");

    Testing::TestLog log;
    EXPECT_FALSE(HasValidPositionFields(json::parse(written)["position"]));
    EXPECT_EQ(log.TakeErrors(), Lines{"JobsManagerD::HasValidPositionFields - FALSE"});
}

TEST(Values, AMapKeepsItsNonEmptyTextsOnly) {
    const json source = json::parse(R"({"a":"1","b":2,"c":"","d":{"e":"f"},"g":["h"],"i":null,"":"empty key"})");
    EXPECT_EQ(TextMapFromJson(source), (TextMap{{"", "empty key"}, {"a", "1"}}));
    EXPECT_THROW(TextMapFromJson(json::array()), json::exception);
}

TEST(Values, AnAddressReadWithoutAPositionHasNone) {
    const Address with = AddressFromJson(
        json::parse(R"({"street":"5 Mill Lane","floor":3,"position":{"latitude":"1.5","longitude":"2.5"}})"));
    EXPECT_EQ(with, (Address{{{"street", "5 Mill Lane"}}, {"1.5", "2.5"}}));
    EXPECT_EQ(AddressFromJson(json::parse(R"({"street":"5 Mill Lane"})")), (Address{{{"street", "5 Mill Lane"}}, {}}));
}

TEST(Values, AContactComesBackAsItWasWritten) {
    const json source = json::parse(R"({"firstName":"Ann","id":3,"phones":{"home":"555","fax":7}})");
    const Contact contact = ContactFromJson(source);
    EXPECT_EQ(WrittenText(contact, JSON_MODE_FILE),
              R"({"contactSource":0,"firstName":"Ann","id":3,"phones":{"home":"555"}})");
    EXPECT_EQ(WrittenText(contact, JSON_MODE_CLIENT), R"({"firstName":"Ann","id":3,"phones":{"home":"555"}})");
    EXPECT_EQ(WrittenText(std::vector<Contact>{}, JSON_MODE_FILE), "[]");
    EXPECT_EQ(WrittenText(Contact{}, JSON_MODE_CLIENT), "{}");

    const std::string full = R"({"address":{"city":"Port","position":{"latitude":"1","longitude":"2"}},)"
                             R"("contactSource":2147483647,"id":255,"lastName":"Roe","web":{"site":"roe.example"}})";
    EXPECT_EQ(WrittenText(ContactFromJson(json::parse(full)), JSON_MODE_FILE), full);
}

TEST(Values, EmptinessAndEqualityOfContactsLeaveTheirIdentityOut) {
    Contact a, b;
    a.id = 1;
    a.contactSource = 9;
    EXPECT_TRUE(a.IsEmpty());
    EXPECT_TRUE(a.SaysTheSameAs(b));
    for (const auto& change : std::vector<void (*)(Contact&)>{
             [](Contact& c) { c.address.fields["city"] = "Port"; },
             [](Contact& c) { c.address.position.latitude = "1"; },
             [](Contact& c) { c.address.position.longitude = "1"; }, [](Contact& c) { c.phones["home"] = "5"; },
             [](Contact& c) { c.names["title"] = "Dr"; }, [](Contact& c) { c.web["site"] = "x"; }}) {
        Contact changed = a;
        change(changed);
        EXPECT_FALSE(changed.IsEmpty());
        EXPECT_FALSE(changed.SaysTheSameAs(a));
    }
}

Lines FalseLines(const std::vector<std::string>& validators) {
    Lines lines;
    for (const std::string& validator : validators)
        lines.push_back("JobsManagerD::HasValid" + validator + "Fields - FALSE");
    return lines;
}

TEST(Values, ValidatorsTellWhatTheyMiss) {
    struct Row {
        bool (*isValid)(const json&);
        const char* text;
        std::vector<std::string> failed;
    };
    const auto contact = [](const json& value) { return HasValidContactFields(value, false); };
    const auto listed = [](const json& value) { return HasValidContactFields(value, true); };
    const std::vector<Row> rows{
        {HasValidPositionFields, R"({"latitude":"1","longitude":"2","more":[]})", {}},
        {HasValidPositionFields, R"({"latitude":1,"longitude":"2"})", {"Position"}},
        {HasValidReelDistanceFields, R"({"absolute":-1,"relative":1.5})", {}},
        {HasValidReelDistanceFields, R"({"absolute":1})", {"ReelDistance"}},
        {HasValidReelDistanceFields, R"({"absolute":1,"relative":"1"})", {"ReelDistance"}},
        {HasValidSourceFields, R"({"model":"m","serial":"s","version":"v"})", {}},
        {HasValidSourceFields, R"({"model":"m","serial":"","version":"v"})", {"Source"}},
        {HasValidTimestampFields, R"({"createTime":"t"})", {"Timestamp"}},
        {HasValidMediaCountFields, R"({"total":1,"autologs":2,"images":3,"photoTalks":4,"videos":5})", {}},
        {HasValidMediaCountFields, R"({"total":1,"autologs":2,"images":3,"photoTalks":4})", {"MediaCount"}},
        {HasValidAddressFields, "{}", {}},
        {HasValidAddressFields, R"({"position":[]})", {"Position", "Address"}},
        {contact, "{}", {}},
        {contact, R"({"id":"x","address":{"a":1},"phones":{"b":2},"web":{},"contactSource":1})", {}},
        {listed, R"({"id":"x"})", {"Contact"}},
        {listed, "{}", {"Contact"}},
        {listed, R"({"id":300})", {}},
        {contact, R"({"contactSource":"1"})", {"Contact"}},
        {contact, R"({"address":"here"})", {"Contact"}},
        {contact, R"({"address":{"position":{"latitude":"1"}}})", {"Position", "Address", "Contact"}},
        {contact, R"({"phones":[]})", {"Contact"}},
        {contact, R"({"web":"x"})", {"Contact"}},
    };
    Testing::TestLog log;
    for (const Row& row : rows) {
        EXPECT_EQ(row.isValid(json::parse(row.text)), row.failed.empty()) << row.text;
        EXPECT_EQ(log.TakeErrors(), FalseLines(row.failed)) << row.text;
    }
    for (const char* noObject : {"null", "5", "[]", "\"latitude\""})
        EXPECT_FALSE(HasValidPositionFields(json::parse(noObject))) << noObject;
    EXPECT_THROW(ContactFromJson(json::parse(R"({"id":"x"})")), json::exception);
}

TEST(Values, NumbersOfAnyKindBecomeTheKindThatIsAskedFor) {
    EXPECT_EQ(JsonNumber<int32_t>(json(-5)), -5);
    EXPECT_EQ(JsonNumber<int32_t>(json(2.9)), 2);
    EXPECT_EQ(JsonNumber<int32_t>(json(1e300)), 2147483647);
    EXPECT_EQ(JsonNumber<int32_t>(json(-1e300)), -2147483647 - 1);
    EXPECT_EQ(JsonNumber<uint64_t>(json(-1e300)), 0u);
    EXPECT_EQ(JsonNumber<uint64_t>(json(1e300)), UINT64_MAX);
    EXPECT_EQ(JsonNumber<uint64_t>(json::parse("18446744073709551615")), UINT64_MAX);
    EXPECT_EQ(JsonNumber<uint16_t>(json(65536 + 7)), 7u);
    for (const json& stranger : {json("5"), json(true), json(nullptr), json::array({5})})
        EXPECT_THROW(JsonNumber<int32_t>(stranger), json::type_error) << stranger;
}

TEST(Values, CountsFollowTheirKindAndTheTotal) {
    Testing::TestLog log;
    MediaCounts counts;
    const std::vector<std::pair<mediaType_e, uint16_t MediaCounts::*>> rows{
        {MEDIA_TYPE_IMAGE, &MediaCounts::images},
        {MEDIA_TYPE_PHOTO_TALK, &MediaCounts::photoTalks},
        {MEDIA_TYPE_VIDEO, &MediaCounts::videos},
        {MEDIA_TYPE_AUTOLOG, &MediaCounts::autologs}};
    for (uint16_t total = 1; const auto& [type, counter] : rows) {
        addToMediaCounts(counts, type);
        EXPECT_EQ(counts.*counter, 1u);
        EXPECT_EQ(counts.total, total++);
    }
    EXPECT_EQ(MediaCountsFromJson(json::parse(WrittenText(counts))), counts);
    for (const auto& row : rows)
        removeFromMediaCounts(counts, row.first);
    EXPECT_EQ(counts, MediaCounts());
    removeFromMediaCounts(counts, MEDIA_TYPE_VIDEO);
    EXPECT_EQ(counts, (MediaCounts{65535, 0, 0, 0, 65535}));
    EXPECT_EQ(log.Take().size(), 0u);

    addToMediaCounts(counts, MEDIA_TYPE_NONE);
    removeFromMediaCounts(counts, MEDIA_TYPE_NONE);
    EXPECT_EQ(counts, (MediaCounts{65535, 0, 0, 0, 65535}));
    EXPECT_EQ(log.TakeErrors(), Lines(2, "addToMediaCounts - Invalid media type: 4."));
}

TEST(Values, ScrambledNotesTakeTheKeyInTurn) {
    EXPECT_EQ(ScrambleBytes("abcde", "ab"), (std::vector<uint8_t>{0, 0, 2, 6, 4}));
    EXPECT_EQ(ScrambleBytes("same", "same"), std::vector<uint8_t>(4, 0));
    const std::string text = "Ørsted\x80\xff\n";
    EXPECT_EQ(UnscrambleBytes(ScrambleBytes(text, "job-1"), "job-1"), text);
    EXPECT_TRUE(ScrambleBytes("", "").empty());
    EXPECT_TRUE(UnscrambleBytes({}, "").empty());
    EXPECT_THROW(ScrambleBytes("a", ""), std::out_of_range);
    EXPECT_THROW(UnscrambleBytes({1}, ""), std::out_of_range);
}

} // namespace
} // namespace JobsManagerD
