#include "jobfiles/JobFileValidators.h"

#include "jobs/ValuesJson.h"

#include <algorithm>
#include <syslog.h>

using nlohmann::json;

namespace JobsManagerD {
namespace {

bool Reported(bool valid, const char* validator) {
    if (!valid)
        syslog(LOG_ERR, "JobFileHandlerJSON::%s - FALSE", validator);
    return valid;
}

bool HasBoolean(const json& value, const char* key) { return HasKey(value, key) && value[key].is_boolean(); }

bool HasArrayOrNothing(const json& value, const char* key) { return !HasKey(value, key) || HasArray(value, key); }

bool HasUserDataOrNothing(const json& value) {
    return !HasKey(value, "userData") || HasObject(value, "userData") || HasArray(value, "userData") ||
           HasText(value, "userData");
}

/// The key may be missing; if not, it must hold an object that passes.
template <typename IsValid>
bool HasValidOrNothing(const json& value, const char* key, IsValid isValid) {
    return !HasKey(value, key) || (HasObject(value, key) && isValid(value[key]));
}

bool AreValidContacts(const json& contacts) {
    return std::ranges::all_of(
        contacts, [](const json& contact) { return contact.is_object() && HasValidContactFields(contact, true); });
}

/// Looks at every file, so that each invalid one has its line.
bool AreValidFiles(const json& files) {
    bool valid = true;
    for (const json& file : files)
        valid = file.is_object() && HasValidMediaFileFields(file) && valid;
    return valid;
}

bool HasRequiredMediaFields(const json& value) {
    bool valid = HasText(value, "type") && HasText(value, "id") && HasObject(value, "timestamp") &&
                 HasObject(value, "source") && HasBoolean(value, "isIncludedInReport") && HasArray(value, "files");
    if (!value.is_object())
        return false;
    // Run on after the first failure: the lines tell all that is wrong with the item.
    const json absent;
    const auto under = [&](const char* key) -> const json& { return HasKey(value, key) ? value[key] : absent; };
    valid = HasValidTimestampFields(under("timestamp")) && valid;
    valid = HasValidSourceFields(under("source")) && valid;
    return AreValidFiles(under("files")) && valid;
}

bool HasValidOptionalMediaFields(const json& value) {
    return HasTextOrNothing(value, "name") && HasTextOrNothing(value, "notes") &&
           HasValidOrNothing(value, "position", HasValidPositionFields) &&
           HasValidOrNothing(value, "distance", HasValidReelDistanceFields) &&
           HasArrayOrNothing(value, "privateNotes") && HasUserDataOrNothing(value);
}

} // namespace

bool HasValidSummaryFields(const json& value) {
    const bool valid = HasText(value, "id") && HasText(value, "version") && HasBoolean(value, "locked") &&
                       HasObject(value, "source") && HasObject(value, "timestamp") && HasText(value, "type") &&
                       HasNumber(value, "jobSize") && HasObject(value, "mediaCounts") &&
                       HasValidSourceFields(value["source"]) && HasValidTimestampFields(value["timestamp"]) &&
                       HasValidMediaCountFields(value["mediaCounts"]) && HasTextOrNothing(value, "name") &&
                       HasValidOrNothing(value, "position", HasValidPositionFields);
    return Reported(valid, "HasValidSummaryFields");
}

bool HasValidMediaFileFields(const json& value) {
    return Reported(HasText(value, "type") && HasText(value, "name") && HasNumber(value, "size"),
                    "HasValidMediaFileFields");
}

bool HasValidJobDetailFields(const json& value) {
    const auto isValidCustomer = [](const json& customer) { return HasValidContactFields(customer, false); };
    const bool valid = HasValidOrNothing(value, "address", HasValidAddressFields) &&
                       HasValidOrNothing(value, "customer", isValidCustomer) &&
                       (!HasArray(value, "contacts") || AreValidContacts(value["contacts"])) &&
                       HasTextOrNothing(value, "notes") && HasArrayOrNothing(value, "privateNotes") &&
                       HasUserDataOrNothing(value);
    return Reported(valid, "HasValidJobDetailFields");
}

bool HasValidJobFields(const json& value) {
    const bool valid = value.is_object() && HasValidJobDetailFields(value) &&
                       (HasArrayOrNothing(value, "media") || HasObject(value, "media"));
    return Reported(valid, "HasValidJobFields");
}

bool HasValidMediaFields(const json& value) {
    return Reported(HasRequiredMediaFields(value) && HasValidOptionalMediaFields(value), "HasValidMediaFields");
}

} // namespace JobsManagerD
