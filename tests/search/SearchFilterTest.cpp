#include "search/SearchFilter.h"

#include "jobs/Scramble.h"
#include "support/TemporaryFolder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

using Json = nlohmann::json;

namespace JobsManagerD {
namespace {

class SearchFilterTest : public testing::Test {
protected:
    bool RulesOut(const std::string& term, const Json& document) { return RulesOutText(term, document.dump()); }
    bool RulesOutText(const std::string& term, const std::string& text) {
        return SearchFilter(term).RulesOut(folder.Write("job.json", text));
    }

    const Testing::TemporaryFolder folder;
};

TEST_F(SearchFilterTest, RulesOutWhatHoldsTheTermNowhere) {
    const Json document{{"id", "j"},
                        {"notes", "roots in the joint"},
                        {"privateNotes", ScrambleBytes("owner keeps a dragon", "j")},
                        {"media", Json::array({{{"id", "m"}, {"privateNotes", ScrambleBytes("gem", "m")}}})},
                        {"count", 12}};
    for (const char* absent : {"zebra", "12", "notes", "root in", "dragons", "roots in the joint."})
        EXPECT_TRUE(RulesOut(absent, document)) << absent;
    for (const char* present : {"roots", "ROOTS", "joint", "t", "", "Dragon", "owner keeps a dragon", "GEM"})
        EXPECT_FALSE(RulesOut(present, document)) << present;
}

TEST_F(SearchFilterTest, EveryPlaceOfATermIsFound) {
    // All windows of a text, so that each shift of the search is taken.
    const std::string text = "abracadabra abcabd xyxyxyz";
    for (size_t start = 0; start < text.size(); ++start)
        for (size_t length = 1; start + length <= text.size(); ++length)
            EXPECT_FALSE(RulesOut(text.substr(start, length), Json{{"notes", text}})) << text.substr(start, length);
}

TEST_F(SearchFilterTest, ATermIsFoundThatDoesNotStandInTheFileAsItIs) {
    EXPECT_FALSE(RulesOutText("zebra", R"({"notes":"a \u007aebra"})"));
    EXPECT_FALSE(RulesOut("say \"z", Json{{"notes", "say \"zebra\""}}));
    const Json notes{{"id", "j"}, {"privateNotes", ScrambleBytes("dragon", "j")}};
    EXPECT_FALSE(RulesOutText("dragon", notes.dump(4)));
    EXPECT_TRUE(RulesOutText("zebra", notes.dump(4)));
}

TEST_F(SearchFilterTest, DecidesNothingWhereItCannotTell) {
    EXPECT_FALSE(SearchFilter("x").RulesOut((folder / "missing.json").string()));
    EXPECT_FALSE(RulesOutText("zebra", "{\"notes\":"));
    EXPECT_FALSE(RulesOutText("zebra", "\xEF\xBB\xBF{}"));
    EXPECT_FALSE(RulesOutText("zebra", "[]"));
    EXPECT_FALSE(RulesOutText("zebra", R"({"id":"1","media":{"a":{"id":"m","privateNotes":[1,2]}}})"));
    // Notes as fractions are still bytes for the search itself.
    EXPECT_FALSE(RulesOutText("A", R"({"id":"\u0000","privateNotes":[65.0]})"));
}

TEST_F(SearchFilterTest, AnIdGivenTwiceIsTriedBothWays) {
    const Json bytes = ScrambleBytes("dragon", "second");
    EXPECT_FALSE(RulesOutText("dragon", R"({"id":"first","privateNotes":)" + bytes.dump() + R"(,"id":"second"})"));
    EXPECT_FALSE(RulesOutText("dragon", R"({"id":"j","media":[{"id":"first","privateNotes":)" + bytes.dump() +
                                            R"(,"id":"second"}]})"));
    EXPECT_FALSE(RulesOut("dragon", Json{{"privateNotes", ScrambleBytes("dragon", "Irrelevant")}}));
}

} // namespace
} // namespace JobsManagerD
