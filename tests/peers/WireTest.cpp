#include "peers/buslink/Wire.h"
#include "peers/PeerTesting.h"

#include <gtest/gtest.h>
#include <limits>

using Buslink::ValidUtf8;
using Buslink::Wire;

namespace Testing {
namespace {

template <typename T>
void ExpectRoundTrip(const T& value, const std::string& signature) {
    SCOPED_TRACE(signature);
    const auto message = SealedMessage([&](auto* unsealed) { return Buslink::AppendAll(unsealed, value); });
    EXPECT_EQ(Wire<T>::Signature(), signature);
    EXPECT_EQ(sd_bus_message_get_signature(message.get(), true), signature);
    T read{};
    EXPECT_GT(Buslink::ReadAll(message.get(), read), 0);
    EXPECT_EQ(read, value);
    EXPECT_LT(Buslink::ReadAll(message.get(), read), 0) << "read beyond the end";
}

TEST(WireTest, EveryTypeComesBackAsItWent) {
    ExpectRoundTrip<uint8_t>(255, "y");
    ExpectRoundTrip<uint16_t>(65535, "q");
    ExpectRoundTrip<int32_t>(std::numeric_limits<int32_t>::min(), "i");
    ExpectRoundTrip<uint32_t>(std::numeric_limits<uint32_t>::max(), "u");
    ExpectRoundTrip<int64_t>(std::numeric_limits<int64_t>::min(), "x");
    ExpectRoundTrip<uint64_t>(std::numeric_limits<uint64_t>::max(), "t");
    ExpectRoundTrip<double>(-0.1, "d");
    ExpectRoundTrip(true, "b");
    ExpectRoundTrip(false, "b");
    ExpectRoundTrip<std::string>("J\xC3\xB6rg", "s");
    ExpectRoundTrip<std::string>("", "s");
    ExpectRoundTrip<std::vector<std::string>>({}, "as");
    ExpectRoundTrip<std::vector<std::string>>({"b", "", "a"}, "as");
    ExpectRoundTrip<std::tuple<int32_t, std::string>>({15, "busy"}, "(is)");
    ExpectRoundTrip<std::tuple<std::vector<std::string>, std::tuple<uint16_t, bool>, double>>({{"a"}, {7, true}, 1.5},
                                                                                              "(as(qb)d)");
}

TEST(WireTest, ReadingStopsAtTheFirstValueOfAnotherType) {
    const auto message = SealedMessage([](auto* unsealed) {
        return Buslink::AppendAll(unsealed, std::string("first"), int32_t{2}, std::string("x"));
    });
    std::string first, second = "untouched", third = "untouched";
    EXPECT_LT(Buslink::ReadAll(message.get(), first, second, third), 0);
    EXPECT_EQ(first, "first");
    EXPECT_EQ(third, "untouched");
}

TEST(WireTest, BytesThatAreNoUtf8GoOutAsReplacementCharacters) {
    const std::tuple<int32_t, std::vector<std::string>> value{1, {"a\xFFz", "good"}};
    const auto message = SealedMessage([&](auto* unsealed) { return Buslink::AppendAll(unsealed, value); });
    std::tuple<int32_t, std::vector<std::string>> read;
    ASSERT_GT(Buslink::ReadAll(message.get(), read), 0);
    EXPECT_EQ(std::get<1>(read), (std::vector<std::string>{"a\xEF\xBF\xBDz", "good"}));
}

TEST(Utf8Test, ExactlyWhatTheBusRefusesIsReplaced) {
    const auto replaced = [](int count) {
        std::string text;
        while (count-- > 0)
            text += "\xEF\xBF\xBD";
        return text;
    };
    const std::pair<std::string, std::string> cases[] = {
        {"", ""},
        {"\x01\x7F", "\x01\x7F"},
        {"\xC2\x80\xDF\xBF", "\xC2\x80\xDF\xBF"},                                 // U+0080, U+07FF
        {"\xE0\xA0\x80\xED\x9F\xBF", "\xE0\xA0\x80\xED\x9F\xBF"},                 // U+0800, U+D7FF
        {"\xEE\x80\x80\xEF\xBF\xBD", "\xEE\x80\x80\xEF\xBF\xBD"},                 // U+E000, U+FFFD
        {"\xF0\x90\x80\x80\xF4\x8F\xBF\xBD", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBD"}, // U+10000, U+10FFFD
        {"a\x80z", "a" + replaced(1) + "z"},                                      // a lone continuation
        {"\xC0\x80\xC1\xBF", replaced(4)},                                        // overlong, two bytes
        {"\xE0\x9F\xBF", replaced(3)},                                            // overlong, three
        {"\xF0\x8F\xBF\xBF", replaced(4)},                                        // overlong, four
        {"\xED\xA0\x80\xED\xBF\xBF", replaced(6)},                                // surrogates
        {"\xF4\x90\x80\x80", replaced(4)},                                        // U+110000
        {"\xF8\x88\x80\x80\x80", replaced(5)},                                    // five bytes
        {"\xFE\xFF", replaced(2)},
        {"a\xE2\x82", "a" + replaced(2)}, // truncated at the end
        {"\xF0\x9F\x98", replaced(3)},
        {"\xE2\x82\xC3\xB6", replaced(2) + "\xC3\xB6"}, // truncated by a good character
        {"\xC3", replaced(1)},
        {"\xEF\xBF\xBE", replaced(3)}, // noncharacters: U+FFFE, U+FDD0, U+1FFFF
        {"\xEF\xB7\x90z", replaced(3) + "z"},
        {"\xF0\x9F\xBF\xBF", replaced(4)},
    };
    SealedMessage([&cases](auto* message) {
        for (const auto& [text, expected] : cases) {
            EXPECT_EQ(ValidUtf8(text), expected);
            EXPECT_EQ(sd_bus_message_append_basic(message, 's', text.c_str()) >= 0, text == expected) << expected;
            EXPECT_GE(sd_bus_message_append_basic(message, 's', expected.c_str()), 0) << expected;
        }
        return 0;
    });
}

} // namespace
} // namespace Testing
