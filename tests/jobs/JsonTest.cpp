#include "jobs/Json.h"

#include "jobs/FastJson.h"

#include <gtest/gtest.h>
#include <malloc.h>

using nlohmann::json;

namespace JobsManagerD {
namespace {

bool IsParsed(const std::string& text) try {
    ParseJson(text);
    return true;
} catch (const json::exception&) {
    return false;
}

bool IsParsedFast(std::string text) {
    FastJsonParser parser;
    return parser.Parse(text).error() == simdjson::SUCCESS;
}

std::string Repeated(const std::string& part, size_t times) {
    std::string text;
    while (times-- > 0)
        text += part;
    return text;
}

TEST(JsonTest, TheFastParserAcceptsNoNestingThatTheOtherRefuses) {
    for (size_t depth = deepestNesting - 20; depth < deepestNesting + 30; ++depth) {
        const std::string arrays = Repeated("[", depth) + Repeated("]", depth);
        const std::string objects = Repeated(R"({"a":)", depth) + "1" + Repeated("}", depth);
        const std::string inString = R"(["\"[[",)" + Repeated("[", depth - 1) + Repeated("]", depth);
        for (const std::string& text : {arrays, objects, inString}) {
            EXPECT_EQ(IsParsed(text), depth <= deepestNesting) << depth;
            EXPECT_TRUE(IsParsed(text) || !IsParsedFast(text)) << depth;
        }
    }
    EXPECT_TRUE(IsParsedFast(Repeated("[", deepestNesting - 1) + Repeated("]", deepestNesting - 1)));
}

TEST(JsonTest, ADocumentTakesNoMoreThanItsBound) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "the sanitizer takes memory of its own";
#endif
    const std::string key = R"("a key that is longer than fifteen":)";
    for (const std::string& part :
         {std::string("{},"), std::string("[],"), std::string("1,"), std::string(R"("",)"),
          std::string(R"("a text that is longer than fifteen",)"), std::string("[[1,2],[3]],"),
          std::string(R"({"a":1,"b":{"c":"d"}},)"), "{" + key + "true},"}) {
        const std::string text = "[" + Repeated(part, 30000) + "0]";
        const size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
        const json document = ParseJson(text);
        const size_t taken = mallinfo2().uordblks + mallinfo2().hblkhd - before;
        EXPECT_LE(taken, DocumentSize(text)) << part;
        EXPECT_LT(DocumentSize(text), std::max(taken, size_t{1} << 17) * 8) << part << " is no wild guess";
    }
    std::string members = "{";
    for (int i = 0; i < 30000; ++i)
        members += '"' + std::to_string(i) + "\":0,";
    members += "\"\":0}";
    const size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
    const json document = ParseJson(members);
    EXPECT_LE(mallinfo2().uordblks + mallinfo2().hblkhd - before, DocumentSize(members));
}

TEST(JsonTest, ADocumentThatTakesTooMuchIsRefusedBeforeItIsMade) {
    const std::string huge = "[" + Repeated("{},", 8 * 1024 * 1024 / 3) + "{}]";
    EXPECT_FALSE(IsParsed(huge));
    EXPECT_GT(DocumentSize(huge), largestDocument);
    EXPECT_TRUE(IsParsed('"' + std::string(8 * 1024 * 1024, 'n') + '"')) << "a long text is no large document";
    // No text that is read by several threads at once comes near.
    for (const std::string part : {"{},", "[],", "1,", R"("",)", R"("":0,)"})
        EXPECT_LT(DocumentSize("[" + Repeated(part, 2 * 1024 * 1024 / part.size())), largestDocument) << part;
}

TEST(JsonTest, AReaderOfTheTopLevelPaysForItAlone) {
    const auto isWanted = [](std::string_view key) { return key == "id" || key == "source"; };
    EXPECT_EQ(ParseJson(R"({"media":[{"id":"x"}],"id":"1","source":{"media":[1]},"x":{"id":5},"id":"2"})", isWanted),
              json::parse(R"({"id":"2","source":{"media":[1]}})"));
    EXPECT_TRUE(ParseJson(R"([{"id":"1"}])", isWanted).is_null());
    EXPECT_EQ(ParseJson("5", isWanted), 5);
    for (const char* const broken : {R"({"media":[}, "id":"1"})", R"({"media":1e999})", R"({"id":"1"} x)", "", "[1"})
        EXPECT_THROW(ParseJson(broken, isWanted), json::exception) << broken;

    const std::string wide = R"({"id":"1","media":[)" + Repeated("{},", 200000) + "{}]}";
    const size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
    const json document = ParseJson(wide, isWanted);
    EXPECT_LT(mallinfo2().uordblks + mallinfo2().hblkhd - before, 100000u);
}

} // namespace
} // namespace JobsManagerD
