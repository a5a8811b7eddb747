#pragma once

#include "jobs/Job.h"
#include "jobs/JsonText.h"

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

/// A text that a client may set, of a job or of a media item. One row here is all that writer, validator and reader
/// need. An empty text is not written.
template <typename Owner>
struct TextField {
    const char* key;
    std::string Owner::*text;
    TextForm form;
};

/// In the order in which they are validated.
inline constexpr TextField<JobDetails> jobTextFields[] = {
    {"notes", &JobDetails::notes, TextForm::plain},
    {"privateNotes", &JobDetails::privateNotes, TextForm::scrambled},
    {"userData", &JobDetails::userData, TextForm::data},
};

inline constexpr TextField<Media> mediaTextFields[] = {
    {"name", &Media::name, TextForm::plain},
    {"notes", &Media::notes, TextForm::plain},
    {"privateNotes", &Media::privateNotes, TextForm::scrambled},
    {"userData", &Media::userData, TextForm::data},
};

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
