#pragma once

#include "jobs/Json.h"
#include "jobs/JsonText.h"
#include "jobs/Values.h"

#include <vector>

namespace JobsManagerD {

// Writers, each of one value where a value may stand. In JSON_MODE_FILE nothing is written that the reader would
// refuse: an empty text of a source is "unknown" there, and a position needs both its texts.

void Write(JsonText& text, const Position& position);
void Write(JsonText& text, const Source& source, jsonMode mode);
void Write(JsonText& text, const Timestamp& timestamp);
void Write(JsonText& text, const MediaCounts& counts);
void Write(JsonText& text, const Address& address, jsonMode mode);
/// "contactSource" is written in JSON_MODE_FILE only.
void Write(JsonText& text, const Contact& contact, jsonMode mode);
void Write(JsonText& text, const std::vector<Contact>& contacts, jsonMode mode);

/// The member "position", if there is something to write.
void WritePosition(JsonText& text, const Position& position, jsonMode mode);

/// What one writer writes.
template <typename... Arguments>
std::string WrittenText(const Arguments&... arguments) {
    JsonText text;
    Write(text, arguments...);
    return text.Take();
}

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
