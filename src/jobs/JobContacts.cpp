#include "jobs/Job.h"
#include "jobs/ValuesJson.h"

#include <algorithm>
#include <bitset>
#include <syslog.h>

using nlohmann::json;

namespace JobsManagerD {
namespace {

constexpr size_t mostContacts = 255;
constexpr uint8_t highestContactId = 255;

template <typename Contacts>
auto FindContact(Contacts& contacts, uint8_t id, const char* method) {
    const auto found = std::ranges::find(contacts, id, &Contact::id);
    if (found == contacts.end())
        syslog(LOG_ERR, "Job::%s - Contact Id not found: %i", method, id);
    return found;
}

/// The shape of all operations that take a JSON text: parse it, validate it, apply it, with the two lines of failure.
/// A value that passes its validator and yet cannot be read counts as invalid.
template <typename IsValid, typename Apply>
jobRtn_e ApplyText(const std::string& text, const char* method, const char* what, IsValid isValid, Apply apply) {
    json value;
    try {
        value = ParseJson(text);
    } catch (const json::exception& exception) {
        syslog(LOG_ERR, "Job::%s - Failed to parse %s: %s", method, what, exception.what());
        return JOB_RTN_INVALID_JSON;
    }
    try {
        if (isValid(value))
            return apply(value);
    } catch (const json::exception&) {
        // Told by the line below.
    }
    syslog(LOG_ERR, "Job::%s - %s has invalid/missing fields:%s", method, what, text.c_str());
    return JOB_RTN_INVALID_FIELDS;
}

bool HasValidFieldsForNewContact(const json& value) { return HasValidContactFields(value, false); }

} // namespace

uint8_t NextContactId(const std::vector<Contact>& contacts) {
    if (contacts.empty())
        return 1;
    const auto highest = std::ranges::max(contacts, {}, &Contact::id).id;
    if (highest != highestContactId)
        return static_cast<uint8_t>(highest + 1);

    // Wrapped: the lowest ID inside the range in use that is free, else 1.
    std::bitset<mostContacts + 1> used;
    for (const Contact& contact : contacts)
        used.set(contact.id);
    size_t id = std::ranges::min(contacts, {}, &Contact::id).id;
    while (id <= highestContactId && used.test(id))
        ++id;
    return id > highestContactId ? uint8_t{1} : static_cast<uint8_t>(id);
}

bool Job::ContactExists(const Contact& contact) const {
    return std::ranges::any_of(Details().contacts,
                               [&contact](const Contact& listed) { return listed.SaysTheSameAs(contact); });
}

jobRtn_e Job::AddContact(Contact& contact) {
    if (ContactExists(contact)) {
        syslog(LOG_ERR, "Job::AddContact - Entry already exists");
        return JOB_RTN_ENTRY_EXISTS;
    }
    if (Details().contacts.size() >= mostContacts) {
        syslog(LOG_ERR, "Job::AddContact - Contact list full.  Maximum list size is 255 entries.");
        return JOB_RTN_LIST_FULL;
    }
    contact.id = NextContactId(Details().contacts);
    Details().contacts.push_back(contact);
    return JOB_RTN_SUCCEEDED;
}

jobRtn_e Job::UpdateContact(const Contact& contact) {
    const auto found = FindContact(Details().contacts, contact.id, "UpdateContact");
    if (found == Details().contacts.end())
        return JOB_RTN_ENTRY_NOT_FOUND;
    *found = contact;
    return JOB_RTN_SUCCEEDED;
}

jobRtn_e Job::RemoveContact(uint8_t id) {
    const auto found = FindContact(Details().contacts, id, "RemoveContact");
    if (found == Details().contacts.end())
        return JOB_RTN_ENTRY_NOT_FOUND;
    Details().contacts.erase(found);
    return JOB_RTN_SUCCEEDED;
}

jobRtn_e Job::GetContact(uint8_t id, Contact& contact) const {
    const auto found = FindContact(Details().contacts, id, "GetContact");
    if (found == Details().contacts.end())
        return JOB_RTN_ENTRY_NOT_FOUND;
    contact = *found;
    return JOB_RTN_SUCCEEDED;
}

jobRtn_e Job::SetCompanyContactByJSONstring(const json& value, uint32_t contactSource) {
    Contact contact;
    try {
        if (!HasValidFieldsForNewContact(value))
            throw json::other_error::create(501, "invalid fields", &value);
        contact = ContactFromJson(value);
    } catch (const json::exception&) {
        syslog(LOG_ERR, "Job::SetCompanyContactByJSONstring - contact has invalid/missing fields:%s",
               CompactDump(value).c_str());
        return JOB_RTN_INVALID_FIELDS;
    }
    contact.contactSource = contactSource;

    const auto& contacts = Details().contacts;
    const auto found = std::ranges::find(contacts, contactSource, &Contact::contactSource);
    if (found == contacts.end())
        return contact.IsEmpty() ? JOB_RTN_SUCCEEDED : AddContact(contact);
    contact.id = found->id;
    return contact.IsEmpty() ? RemoveContact(contact.id) : UpdateContact(contact);
}

jobRtn_e Job::SetAddressByJSONstring(const std::string& text) {
    return ApplyText(text, "SetAddressByJSONstring", "address", HasValidAddressFields, [this](const json& value) {
        Details().address = AddressFromJson(value);
        return JOB_RTN_SUCCEEDED;
    });
}

jobRtn_e Job::SetCustomerByJSONstring(const std::string& text) {
    return ApplyText(text, "SetCustomerByJSONstring", "customer", HasValidFieldsForNewContact,
                     [this](const json& value) {
                         Details().customer = ContactFromJson(value);
                         return JOB_RTN_SUCCEEDED;
                     });
}

jobRtn_e Job::AddContactByJSONstring(const std::string& text, uint8_t& id) {
    id = 0;
    return ApplyText(text, "AddContactByJSONstring", "contact", HasValidFieldsForNewContact,
                     [this, &id](const json& value) {
                         Contact contact = ContactFromJson(value);
                         const jobRtn_e result = AddContact(contact);
                         if (result == JOB_RTN_SUCCEEDED)
                             id = contact.id;
                         return result;
                     });
}

jobRtn_e Job::UpdateContactByJSONstring(const std::string& text) {
    const auto hasValidFields = [](const json& value) {
        return HasValidContactFields(value, true) && IsContactId(value["id"]);
    };
    return ApplyText(text, "UpdateContactByJSONstring", "contact", hasValidFields,
                     [this](const json& value) { return UpdateContact(ContactFromJson(value)); });
}

} // namespace JobsManagerD
