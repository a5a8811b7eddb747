#include "jobs/ValuesJson.h"

#include <algorithm>
#include <string_view>
#include <syslog.h>

using nlohmann::json;

namespace JobsManagerD {
namespace {

void WriteMembers(JsonText& text, const TextMap& map) {
    for (const auto& [key, value] : map)
        text.Member(key, value);
}

void WriteObject(JsonText& text, const char* key, const TextMap& map) {
    if (map.empty())
        return;
    text.Key(key);
    text.BeginObject();
    WriteMembers(text, map);
    text.EndObject();
}

/// The non-empty strings of an object, but for those under the keys named. Throws for a value that is no object.
TextMap TextsBut(const json& value, std::initializer_list<std::string_view> left) {
    TextMap map;
    for (const auto& [key, entry] : value.get_ref<const json::object_t&>())
        if (IsNonEmptyString(entry) && std::ranges::find(left, key) == left.end())
            map.emplace(key, entry.get_ref<const std::string&>());
    return map;
}

TextMap TextsUnder(const json& value, const char* key) {
    return HasKey(value, key) ? TextMapFromJson(value[key]) : TextMap();
}

bool Reported(bool valid, const char* message) {
    if (!valid)
        syslog(LOG_ERR, "%s", message);
    return valid;
}

bool HasNumberOrNothing(const json& value, const char* key) { return !HasKey(value, key) || HasNumber(value, key); }

} // namespace

void Write(JsonText& text, const Position& position) {
    text.BeginObject();
    text.Member("latitude", position.latitude);
    text.Member("longitude", position.longitude);
    text.EndObject();
}

void WritePosition(JsonText& text, const Position& position, jsonMode mode) {
    const bool isWhole = !position.latitude.empty() && !position.longitude.empty();
    if (mode == JSON_MODE_FILE ? !isWhole : !position.IsSet())
        return;
    text.Key("position");
    Write(text, position);
}

void Write(JsonText& text, const Source& source, jsonMode mode) {
    const auto write = [&text, mode](const char* key, const std::string& value) {
        text.Member(key, value.empty() && mode == JSON_MODE_FILE ? "unknown" : value);
    };
    text.BeginObject();
    write("model", source.model);
    write("serial", source.serial);
    write("version", source.version);
    text.EndObject();
}

void Write(JsonText& text, const Timestamp& timestamp) {
    text.BeginObject();
    text.Member("createTime", timestamp.createTime);
    text.Member("modifiedTime", timestamp.modifiedTime);
    text.EndObject();
}

void Write(JsonText& text, const MediaCounts& counts) {
    text.BeginObject();
    text.Member("autologs", counts.autologs);
    text.Member("images", counts.images);
    text.Member("photoTalks", counts.photoTalks);
    text.Member("total", counts.total);
    text.Member("videos", counts.videos);
    text.EndObject();
}

void Write(JsonText& text, const Address& address, jsonMode mode) {
    text.BeginObject();
    WriteMembers(text, address.fields);
    WritePosition(text, address.position, mode);
    text.EndObject();
}

void Write(JsonText& text, const Contact& contact, jsonMode mode) {
    text.BeginObject();
    WriteMembers(text, contact.names);
    if (!contact.address.IsEmpty()) {
        text.Key("address");
        Write(text, contact.address, mode);
    }
    if (contact.id != 0)
        text.Member("id", contact.id);
    WriteObject(text, "phones", contact.phones);
    WriteObject(text, "web", contact.web);
    if (mode == JSON_MODE_FILE)
        text.Member("contactSource", static_cast<int32_t>(contact.contactSource));
    text.EndObject();
}

void Write(JsonText& text, const std::vector<Contact>& contacts, jsonMode mode) {
    text.BeginArray();
    for (const Contact& contact : contacts)
        Write(text, contact, mode);
    text.EndArray();
}

TextMap TextMapFromJson(const json& value) { return TextsBut(value, {}); }

Position PositionFromJson(const json& value) {
    return {value.at("latitude").get<std::string>(), value.at("longitude").get<std::string>()};
}

ReelDistance ReelDistanceFromJson(const json& value) {
    return {true, JsonNumber<int32_t>(value.at("absolute")), JsonNumber<int32_t>(value.at("relative"))};
}

Source SourceFromJson(const json& value) {
    return {value.at("model").get<std::string>(), value.at("serial").get<std::string>(),
            value.at("version").get<std::string>()};
}

Timestamp TimestampFromJson(const json& value) {
    return {value.at("createTime").get<std::string>(), value.at("modifiedTime").get<std::string>()};
}

MediaCounts MediaCountsFromJson(const json& value) {
    const auto count = [&value](const char* key) { return JsonNumber<uint16_t>(value.at(key)); };
    return {count("total"), count("autologs"), count("images"), count("photoTalks"), count("videos")};
}

Address AddressFromJson(const json& value) {
    Address address;
    if (HasKey(value, "position"))
        address.position = PositionFromJson(value["position"]);
    address.fields = TextsBut(value, {"position"});
    return address;
}

Contact ContactFromJson(const json& value) {
    Contact contact;
    if (HasKey(value, "id")) {
        const uint8_t id = JsonNumber<uint8_t>(value["id"]);
        contact.id = IsContactId(value["id"]) ? id : uint8_t{0};
    }
    if (HasKey(value, "contactSource"))
        contact.contactSource = JsonNumber<uint32_t>(value["contactSource"]);
    if (HasKey(value, "address"))
        contact.address = AddressFromJson(value["address"]);
    contact.phones = TextsUnder(value, "phones");
    contact.web = TextsUnder(value, "web");
    contact.names = TextsBut(value, {"address", "phones", "web"});
    return contact;
}

std::vector<Contact> ContactsFromJson(const json& value) {
    std::vector<Contact> contacts;
    for (const json& contact : value)
        if (value.is_array() || (contact.is_object() && HasValidContactFields(contact, false)))
            contacts.push_back(ContactFromJson(contact));
    for (Contact& contact : contacts)
        if (contact.id == 0)
            contact.id = NextContactId(contacts);
    return contacts;
}

bool IsContactId(const json& number) {
    // Compared as the kind of number that it is, before any conversion.
    return number.is_number() && number >= 0 && number <= std::numeric_limits<uint8_t>::max() &&
           number == JsonNumber<uint8_t>(number);
}

bool HasText(const json& value, const char* key) { return HasKey(value, key) && IsNonEmptyString(value[key]); }

bool HasNumber(const json& value, const char* key) { return HasKey(value, key) && value[key].is_number(); }

bool HasObject(const json& value, const char* key) { return HasKey(value, key) && value[key].is_object(); }

bool HasArray(const json& value, const char* key) { return HasKey(value, key) && value[key].is_array(); }

bool HasTextOrNothing(const json& value, const char* key) { return !HasKey(value, key) || HasText(value, key); }

bool HasObjectOrNothing(const json& value, const char* key) { return !HasKey(value, key) || HasObject(value, key); }

bool HasValidPositionFields(const json& value) {
    return Reported(HasText(value, "latitude") && HasText(value, "longitude"),
                    "JobsManagerD::HasValidPositionFields - FALSE");
}

bool HasValidReelDistanceFields(const json& value) {
    return Reported(HasNumber(value, "absolute") && HasNumber(value, "relative"),
                    "JobsManagerD::HasValidReelDistanceFields - FALSE");
}

bool HasValidSourceFields(const json& value) {
    return Reported(HasText(value, "model") && HasText(value, "serial") && HasText(value, "version"),
                    "JobsManagerD::HasValidSourceFields - FALSE");
}

bool HasValidTimestampFields(const json& value) {
    return Reported(HasText(value, "createTime") && HasText(value, "modifiedTime"),
                    "JobsManagerD::HasValidTimestampFields - FALSE");
}

bool HasValidAddressFields(const json& value) {
    return Reported(!HasKey(value, "position") || HasValidPositionFields(value["position"]),
                    "JobsManagerD::HasValidAddressFields - FALSE");
}

bool HasValidMediaCountFields(const json& value) {
    return Reported(HasNumber(value, "autologs") && HasNumber(value, "images") && HasNumber(value, "photoTalks") &&
                        HasNumber(value, "videos") && HasNumber(value, "total"),
                    "JobsManagerD::HasValidMediaCountFields - FALSE");
}

bool HasValidContactFields(const json& value, bool requireId) {
    const bool idIsValid = !requireId || HasNumber(value, "id");
    const auto addressIsValid = [&value] {
        return !HasKey(value, "address") || (HasObject(value, "address") && HasValidAddressFields(value["address"]));
    };
    return Reported(idIsValid && HasNumberOrNothing(value, "contactSource") && addressIsValid() &&
                        HasObjectOrNothing(value, "phones") && HasObjectOrNothing(value, "web"),
                    "JobsManagerD::HasValidContactFields - FALSE");
}

} // namespace JobsManagerD
