#include "jobs/TextFields.h"

#include "jobs/Json.h"
#include "jobs/Scramble.h"

namespace JobsManagerD {

void WriteTextField(JsonText& text, const char* key, const std::string& value, TextForm form, const std::string& id,
                    jsonMode mode) {
    if (value.empty())
        return;
    text.Key(key);
    if (form == TextForm::data) {
        text.Json(UserDataToJson(value, mode));
    } else if (form == TextForm::scrambled && mode == JSON_MODE_FILE) {
        text.BeginArray();
        for (const uint8_t byte : ScrambleBytes(value, id))
            text.Value(byte);
        text.EndArray();
    } else {
        text.Value(value);
    }
}

} // namespace JobsManagerD
