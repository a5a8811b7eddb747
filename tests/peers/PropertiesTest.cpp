#include "peers/buslink/Properties.h"
#include "peers/PeerTesting.h"
#include "peers/buslink/ObjectManager.h"
#include "simulator/SimulatedUnit.h"

#include <gtest/gtest.h>
#include <limits>
#include <nlohmann/json.hpp>

using Simulator::Structure;
using Simulator::Value;
using Texts = std::vector<std::string>;

namespace Testing {
namespace {

/// Properties of every type that the maps hold, among others that they do not.
Simulator::Message MessageOfProperties() {
    return SealedMessage([](auto* message) {
        return sd_bus_message_append(message, "a{sv}", 13, "byte", "y", 1, "bool", "b", 1, "text", "s", "a", "pair",
                                     "(is)", 5, "skipped", "int", "i", -5, "unsigned", "u", 5u, "long", "x",
                                     int64_t{-6}, "unsignedLong", "t", uint64_t{6}, "map", "a{sv}", 1, "text", "s",
                                     "inner", "real", "d", 0.5, "texts", "as", 2, "b", "a", "wrapped", "(s)", "json",
                                     "variant", "v", "s", "nested");
    });
}

TEST(ParsePropertiesTest, HeldTypesAreKeptWithTheirSignaturesAndOthersLeftOut) {
    buslink_utils::TypedPropertyMap typed;
    ASSERT_GE(buslink_utils::ParsePropertiesWithType(MessageOfProperties().get(), typed), 0);
    std::map<std::string, std::string> signatures;
    for (const auto& [name, value] : typed)
        signatures[name] = value.first;
    const std::map<std::string, std::string> expected = {{"bool", "b"},         {"text", "s"},   {"int", "i"},
                                                         {"unsigned", "u"},     {"long", "x"},   {"real", "d"},
                                                         {"unsignedLong", "t"}, {"texts", "as"}, {"wrapped", "(s)"}};
    EXPECT_EQ(signatures, expected);

    buslink_utils::PropertyMap map;
    ASSERT_GE(buslink_utils::ParseProperties(MessageOfProperties().get(), map), 0);
    ASSERT_EQ(map.size(), expected.size());
    EXPECT_EQ(std::any_cast<bool>(map["bool"]), true);
    EXPECT_EQ(std::any_cast<std::string>(map["text"]), "a");
    EXPECT_EQ(std::any_cast<int32_t>(map["int"]), -5);
    EXPECT_EQ(std::any_cast<uint32_t>(map["unsigned"]), 5u);
    EXPECT_EQ(std::any_cast<int64_t>(map["long"]), -6);
    EXPECT_EQ(std::any_cast<uint64_t>(map["unsignedLong"]), 6u);
    EXPECT_EQ(std::any_cast<double>(map["real"]), 0.5);
    EXPECT_EQ(std::any_cast<Texts>(map["texts"]), (Texts{"b", "a"}));
    EXPECT_EQ(std::any_cast<std::string>(map["wrapped"]), "json");
}

TEST(ParsePropertiesTest, AnythingElseThanAPropertyMapFails) {
    const auto message = SealedMessage([](auto* unsealed) { return sd_bus_message_append(unsealed, "as", 1, "a"); });
    buslink_utils::PropertyMap map;
    EXPECT_LT(buslink_utils::ParseProperties(message.get(), map), 0);
}

/// A settings service in which a setting can have any type.
class GetPropertyTest : public testing::Test {
protected:
    template <typename T>
    int32_t Get(T& value, const char* name = "value", sd_bus* bus = nullptr) {
        error.clear();
        return buslink_utils::GetProperty(bus, name_, "/com/corvane/common/Settings1/jobs", name_, name, value, error);
    }

    template <typename T>
    void ExpectRead(const Value& value, const T& expected) {
        SCOPED_TRACE(Simulator::SignatureOf(value));
        unit.Settings().SetSilently("jobs", "value", value);
        T read{};
        EXPECT_GE(Get(read), 0) << error;
        EXPECT_EQ(read, expected);
    }

    template <typename T>
    void ExpectRefused(const Value& value) {
        SCOPED_TRACE(Simulator::SignatureOf(value));
        unit.Settings().SetSilently("jobs", "value", value);
        T read{};
        EXPECT_LT(Get(read), 0);
        EXPECT_FALSE(error.empty());
    }

    static constexpr const char* name_ = "com.corvane.common.Settings1";
    Simulator::SimulatedUnit unit{PrivateBus::Instance().Address()};
    std::string error;
};

TEST_F(GetPropertyTest, EveryTypeIsRead) {
    ExpectRead<bool>(true, true);
    ExpectRead<std::string>("text", "text");
    ExpectRead<int32_t>(int32_t{-5}, -5);
    ExpectRead<uint32_t>(std::numeric_limits<uint32_t>::max(), std::numeric_limits<uint32_t>::max());
    ExpectRead<int64_t>(std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::min());
    ExpectRead<uint64_t>(std::numeric_limits<uint64_t>::max(), std::numeric_limits<uint64_t>::max());
    ExpectRead<double>(-0.25, -0.25);
    ExpectRead<Texts>(Texts{"b", "a"}, {"b", "a"});
    ExpectRead<Texts>(Texts{}, {});
    ExpectRead<nlohmann::json>(R"({"a":[1]})", {{"a", {1}}});
    ExpectRead<nlohmann::json>(Structure{R"({"a":null})"}, {{"a", nullptr}});
}

TEST_F(GetPropertyTest, AnotherTypeIsRefused) {
    ExpectRefused<bool>(int32_t{1});
    ExpectRefused<std::string>(Texts{"a"});
    ExpectRefused<int32_t>(5u);
    ExpectRefused<uint32_t>(int32_t{5});
    ExpectRefused<int64_t>(uint64_t{5});
    ExpectRefused<uint64_t>(5u);
    ExpectRefused<double>(int32_t{5});
    ExpectRefused<Texts>("a");
    ExpectRefused<nlohmann::json>(int32_t{5});
}

TEST_F(GetPropertyTest, TextThatDoesNotParseIsABadMessage) {
    for (const char* text : {"", "{", "{} x", "\xEF\xBB\xBF[", "1e999"}) {
        unit.Settings().SetSilently("jobs", "value", text);
        nlohmann::json read = "as it was";
        EXPECT_EQ(Get(read), -EBADMSG) << text;
        EXPECT_EQ(error, "Bad message");
        EXPECT_EQ(read, "as it was");
    }
}

TEST_F(GetPropertyTest, TheErrorNamesWhatIsMissing) {
    bool value = false;
    EXPECT_LT(Get(value, "absent"), 0);
    EXPECT_NE(error.find("absent"), std::string::npos) << error;
    unit.Settings().GoAway();
    EXPECT_LT(Get(value), 0);
    EXPECT_NE(error.find(name_), std::string::npos) << error;
}

TEST_F(GetPropertyTest, APrivateConnectionIsClosedAndAGivenOneStaysOpen) {
    const auto bus = OpenBus();
    bool hides = true;
    const auto before = OpenDescriptors();
    EXPECT_GE(Get(hides, "hideJobFiles"), 0);
    EXPECT_LT(Get(hides, "absent"), 0);
    EXPECT_EQ(OpenDescriptors(), before);
    hides = true;
    EXPECT_GE(Get(hides, "hideJobFiles", bus.get()), 0);
    EXPECT_FALSE(hides);
    EXPECT_GT(sd_bus_is_open(bus.get()), 0);
}

TEST(GetManagedObjectsTest, ObjectsAndInterfacesComeInTheOrderOfTheReply) {
    Simulator::SimulatedUnit unit(PrivateBus::Instance().Address());
    unit.Storage().AddCard("usb2", "/mnt/usb2");
    unit.Storage().AddCard("internal", "/mnt/internal", {false, true});
    const std::string service = "com.corvane.common.StorageDaemon1";
    std::vector<buslink_utils::object_manager::ManagedObject> objects;
    const auto bus = OpenBus();
    ASSERT_GE(buslink_utils::object_manager::GetManagedObjects(bus.get(), service, unit.Storage().RootPath(), objects),
              0);
    ASSERT_EQ(objects.size(), 2u);
    EXPECT_EQ(objects[0].path, unit.Storage().CardPath("usb2"));
    EXPECT_EQ(objects[1].path, unit.Storage().CardPath("internal"));
    ASSERT_EQ(objects[1].interfaces.size(), 2u);
    EXPECT_EQ(objects[1].interfaces[0].first, "org.freedesktop.DBus.Properties");
    EXPECT_TRUE(objects[1].interfaces[0].second.empty());
    EXPECT_EQ(objects[1].interfaces[1].first, unit.Storage().deviceInterface);
    EXPECT_EQ(std::any_cast<bool>(objects[1].interfaces[1].second.at("ReadOnly")), true);
    unit.Storage().GoAway();
    EXPECT_LT(buslink_utils::object_manager::GetManagedObjects(bus.get(), service, unit.Storage().RootPath(), objects),
              0);
}

} // namespace
} // namespace Testing
