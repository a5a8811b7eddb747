#pragma once

#include "jobs/Job.h"
#include "jobs/JsonText.h"

#include <algorithm>
#include <string_view>

namespace JobsManagerD {

/// How a text lies in a job file.
enum class TextForm {
    /// As a text.
    plain,
    /// As numbers, hidden from a casual reader.
    scrambled,
    /// As the JSON value that the text is, or else as a text.
    data,
};

/// Whether the log lines of an accessor name the class behind it.
enum class LogPrefix { ofClass, none };

/// A text that a client may set, of a job or of a media item. One row here is all that writer, validator, reader and
/// accessors need. An empty text is not written.
template <typename Owner>
struct TextField {
    const char* key;
    std::string Owner::*text;
    TextForm form;
    /// The two accessors, as the log names them.
    const char* getter;
    const char* setter;
    LogPrefix logPrefix = LogPrefix::ofClass;
};

/// In the order in which they are validated.
inline constexpr TextField<JobDetails> jobTextFields[] = {
    {"notes", &JobDetails::notes, TextForm::plain, "GetJobNotes", "SetJobNotes"},
    {"privateNotes", &JobDetails::privateNotes, TextForm::scrambled, "GetJobPrivateNotes", "SetJobPrivateNotes"},
    {"userData", &JobDetails::userData, TextForm::data, "GetJobUserData", "SetJobUserData", LogPrefix::none},
};

inline constexpr TextField<Media> mediaTextFields[] = {
    {"name", &Media::name, TextForm::plain, "GetMediaName", "SetMediaName"},
    {"notes", &Media::notes, TextForm::plain, "GetMediaNotes", "SetMediaNotes"},
    {"privateNotes", &Media::privateNotes, TextForm::scrambled, "GetMediaPrivateNotes", "SetMediaPrivateNotes"},
    {"userData", &Media::userData, TextForm::data, "GetMediaData", "SetMediaData"},
};

/// A key as the argument of a template.
template <size_t size>
struct FieldKey {
    consteval FieldKey(const char (&key)[size]) { std::ranges::copy(key, text); }
    char text[size];
};

/// The row of a key; one that is not there does not compile.
template <typename Owner, size_t count>
consteval const TextField<Owner>& RowOf(const TextField<Owner> (&fields)[count], std::string_view key) {
    for (const TextField<Owner>& field : fields)
        if (field.key == key)
            return field;
    throw "no field has this key";
}

template <FieldKey key>
inline constexpr const TextField<JobDetails>& jobTextField = RowOf(jobTextFields, key.text);
template <FieldKey key>
inline constexpr const TextField<Media>& mediaTextField = RowOf(mediaTextFields, key.text);

/// The member of one field: scrambled with `id` in JSON_MODE_FILE, and nothing for an empty text.
void WriteTextField(JsonText& text, const char* key, const std::string& value, TextForm form, const std::string& id,
                    jsonMode mode);

template <typename Owner, size_t count>
void WriteTextFields(JsonText& text, const TextField<Owner> (&fields)[count], const Owner& owner, const std::string& id,
                     jsonMode mode) {
    for (const TextField<Owner>& field : fields)
        WriteTextField(text, field.key, owner.*field.text, field.form, id, mode);
}

} // namespace JobsManagerD
