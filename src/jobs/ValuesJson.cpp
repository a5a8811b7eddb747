#include "jobs/ValuesJson.h"

#include <algorithm>
#include <string_view>
#include <syslog.h>

using nlohmann::json;

namespace JobsManagerD {
namespace {

json ToJson(const TextMap& map) {
    json object = json::object();
    for (const auto& [key, text] : map)
        object[key] = text;
    return object;
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

json ToJson(const Position& position) {
    json object = json::object();
    object["latitude"] = position.latitude;
    object["longitude"] = position.longitude;
    return object;
}

json ToJson(const Source& source) {
    json object = json::object();
    object["model"] = source.model;
    object["serial"] = source.serial;
    object["version"] = source.version;
    return object;
}

json ToJson(const Timestamp& timestamp) {
    json object = json::object();
    object["createTime"] = timestamp.createTime;
    object["modifiedTime"] = timestamp.modifiedTime;
    return object;
}

json ToJson(const MediaCounts& counts) {
    json object = json::object();
    object["total"] = counts.total;
    object["autologs"] = counts.autologs;
    object["images"] = counts.images;
    object["photoTalks"] = counts.photoTalks;
    object["videos"] = counts.videos;
    return object;
}

json ToJson(const Address& address) {
    json object = ToJson(address.fields);
    if (address.position.IsSet())
        object["position"] = ToJson(address.position);
    return object;
}

json ToJson(const Contact& contact, jsonMode mode) {
    json object = ToJson(contact.names);
    if (!contact.address.IsEmpty())
        object["address"] = ToJson(contact.address);
    if (contact.id != 0)
        object["id"] = contact.id;
    if (!contact.phones.empty())
        object["phones"] = ToJson(contact.phones);
    if (!contact.web.empty())
        object["web"] = ToJson(contact.web);
    if (mode == JSON_MODE_FILE)
        object["contactSource"] = static_cast<int32_t>(contact.contactSource);
    return object;
}

json ToJson(const std::vector<Contact>& contacts, jsonMode mode) {
    json array = json::array();
    for (const Contact& contact : contacts)
        array.push_back(ToJson(contact, mode));
    return array;
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
