#pragma once

#include "jobs/Json.h"
#include "jobs/Values.h"

#include <vector>

namespace JobsManagerD {

// Writers. Keys come out in ascending byte order.

nlohmann::json ToJson(const Position& position);
nlohmann::json ToJson(const Source& source);
nlohmann::json ToJson(const Timestamp& timestamp);
nlohmann::json ToJson(const MediaCounts& counts);
/// "position" is written only when it is set.
nlohmann::json ToJson(const Address& address);
/// "contactSource" is written in JSON_MODE_FILE only.
nlohmann::json ToJson(const Contact& contact, jsonMode mode);
nlohmann::json ToJson(const std::vector<Contact>& contacts, jsonMode mode);

// Readers. They assume that the validators have passed; a missing key or a wrong kind throws
// nlohmann::json::exception.

/// The non-empty strings of an object; every other value is dropped without a message.
TextMap TextMapFromJson(const nlohmann::json& value);
Position PositionFromJson(const nlohmann::json& value);
ReelDistance ReelDistanceFromJson(const nlohmann::json& value);
Source SourceFromJson(const nlohmann::json& value);
Timestamp TimestampFromJson(const nlohmann::json& value);
MediaCounts MediaCountsFromJson(const nlohmann::json& value);
Address AddressFromJson(const nlohmann::json& value);
/// An ID that no list of contacts can hold is read as 0, none.
Contact ContactFromJson(const nlohmann::json& value);
/// The list of a job file, or the values of an object in its place, of which those that are no contacts are left out.
/// A contact without an ID that a list can hold gets a free one.
std::vector<Contact> ContactsFromJson(const nlohmann::json& value);

// Validators. Each logs one line of its own when it returns false. Keys that are not listed are ignored.

bool HasValidPositionFields(const nlohmann::json& value);
bool HasValidReelDistanceFields(const nlohmann::json& value);
bool HasValidSourceFields(const nlohmann::json& value);
bool HasValidTimestampFields(const nlohmann::json& value);
bool HasValidAddressFields(const nlohmann::json& value);
bool HasValidMediaCountFields(const nlohmann::json& value);
/// With `requireId`, "id" must be a number; without, it is not looked at.
bool HasValidContactFields(const nlohmann::json& value, bool requireId);

/// A whole number from 0, none, to 255.
bool IsContactId(const nlohmann::json& number);

// Tests of one key, of which the validators are made. False for a missing key and for a value that is no object.

bool HasText(const nlohmann::json& value, const char* key);
bool HasNumber(const nlohmann::json& value, const char* key);
bool HasObject(const nlohmann::json& value, const char* key);
bool HasArray(const nlohmann::json& value, const char* key);

// The same for a key that may be missing.

bool HasTextOrNothing(const nlohmann::json& value, const char* key);
bool HasObjectOrNothing(const nlohmann::json& value, const char* key);

} // namespace JobsManagerD
