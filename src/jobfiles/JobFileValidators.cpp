#include "jobfiles/JobFileValidators.h"

#include "jobs/TextFields.h"
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

bool HasTextField(const json& value, const char* key, TextForm form) {
    switch (form) {
    case TextForm::plain:
        return HasTextOrNothing(value, key);
    case TextForm::scrambled:
        return HasArrayOrNothing(value, key);
    case TextForm::data:
        return !HasKey(value, key) || HasObject(value, key) || HasArray(value, key) || HasText(value, key);
    }
    return false;
}

template <typename Fields>
bool HasTextFields(const json& value, const Fields& fields, std::initializer_list<TextForm> forms) {
    return std::ranges::all_of(fields, [&](const auto& field) {
        return std::ranges::find(forms, field.form) == forms.end() || HasTextField(value, field.key, field.form);
    });
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
    return HasTextFields(value, mediaTextFields, {TextForm::plain}) &&
           HasValidOrNothing(value, "position", HasValidPositionFields) &&
           HasValidOrNothing(value, "distance", HasValidReelDistanceFields) &&
           HasTextFields(value, mediaTextFields, {TextForm::scrambled, TextForm::data});
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
                       HasTextFields(value, jobTextFields, {TextForm::plain, TextForm::scrambled, TextForm::data});
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
