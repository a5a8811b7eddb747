#include "peers/buslink/Utf8.h"

#include <cstdint>

namespace Buslink {
namespace {

struct Form {
    uint8_t mask;
    uint8_t lead;
    size_t length;
    uint32_t lowest;
};

constexpr Form forms[] = {
    {0x80, 0x00, 1, 0x00}, {0xE0, 0xC0, 2, 0x80}, {0xF0, 0xE0, 3, 0x800}, {0xF8, 0xF0, 4, 0x10000}};

/// Whether the code may travel: a scalar value (RFC 3629) that sd-bus takes, which refuses the noncharacters.
bool IsCharacter(uint32_t code, const Form& form) {
    const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    const bool isNoncharacter = (code >= 0xFDD0 && code <= 0xFDEF) || (code & 0xFFFE) == 0xFFFE;
    return code >= form.lowest && code <= 0x10FFFF && !isSurrogate && !isNoncharacter;
}

/// Length in bytes of the valid character at `place`, 0 when there is none.
size_t CharacterLength(const std::string& text, size_t place) {
    const auto byteAt = [&text](size_t i) { return static_cast<uint8_t>(text[i]); };
    for (const Form& form : forms) {
        if ((byteAt(place) & form.mask) != form.lead)
            continue;
        if (place + form.length > text.size())
            return 0;
        uint32_t code = byteAt(place) & static_cast<uint8_t>(~form.mask);
        for (size_t i = 1; i < form.length; ++i) {
            if ((byteAt(place + i) & 0xC0) != 0x80)
                return 0;
            code = code << 6 | (byteAt(place + i) & 0x3F);
        }
        return IsCharacter(code, form) ? form.length : 0;
    }
    return 0;
}

} // namespace

std::string ValidUtf8(const std::string& text) {
    std::string valid;
    valid.reserve(text.size());
    for (size_t place = 0; place < text.size();) {
        const size_t length = CharacterLength(text, place);
        if (length == 0)
            valid += "\xEF\xBF\xBD";
        else
            valid.append(text, place, length);
        place += length == 0 ? 1 : length;
    }
    return valid;
}

} // namespace Buslink
