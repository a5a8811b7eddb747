#include "Terminal.h"

#include <clocale>
#include <cstdlib>
#include <cwchar>
#include <string_view>
#include <sys/ioctl.h>
#include <unistd.h>

namespace TarnJobs::Terminal {
namespace {

std::string_view Environment(const char* name) {
    const char* const value = std::getenv(name);
    return value ? value : "";
}

/// A character of a UTF-8 text; of bytes that are none, each is one without a code.
struct Character {
    std::string_view bytes;
    char32_t code;
};

constexpr char32_t noCode = 0xFFFD;

Character CharacterAt(const std::string& text, size_t at) {
    const auto byte = [&text](size_t place) { return static_cast<unsigned char>(text[place]); };
    const size_t size = byte(at) < 0x80 ? 1 : byte(at) >= 0xF0 ? 4 : byte(at) >= 0xE0 ? 3 : byte(at) >= 0xC0 ? 2 : 0;
    if (size == 0 || at + size > text.size())
        return {std::string_view(text).substr(at, 1), noCode};
    char32_t code = size == 1 ? byte(at) : byte(at) & (0x7Fu >> size);
    for (size_t place = at + 1; place < at + size; ++place) {
        if ((byte(place) & 0xC0) != 0x80)
            return {std::string_view(text).substr(at, 1), noCode};
        code = code << 6 | (byte(place) & 0x3F);
    }
    return {std::string_view(text).substr(at, size), code};
}

/// C0 but for the new line and the tabulator, DEL, C1, and the characters that embed, override and isolate directions.
bool Steers(char32_t code) {
    const bool isControl = (code < 0x20 && code != '\n' && code != '\t') || (code >= 0x7F && code < 0xA0);
    const bool isDirection = code == 0x061C || code == 0x200E || code == 0x200F || (code >= 0x202A && code <= 0x202E) ||
                             (code >= 0x2066 && code <= 0x2069);
    return isControl || isDirection || code == 0x2028 || code == 0x2029;
}

size_t WidthOf(char32_t code) {
    // Texts are UTF-8 whatever the user's locale is.
    static const char* const locale = std::setlocale(LC_CTYPE, "C.UTF-8");
    const int width = locale ? wcwidth(static_cast<wchar_t>(code)) : 1;
    return width < 0 ? 1 : static_cast<size_t>(width);
}

} // namespace

bool IsTerminal(int descriptor) { return isatty(descriptor) != 0; }

bool IsDrawnOn(int descriptor) { return IsTerminal(descriptor) && Environment("TERM") != "dumb"; }

size_t Width(int descriptor) {
    winsize size{};
    if (ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
        return size.ws_col;
    const long columns = std::strtol(Environment("COLUMNS").data(), nullptr, 10);
    return columns > 0 ? static_cast<size_t>(columns) : 80;
}

size_t WidthOf(const std::string& text) {
    size_t width = 0;
    for (size_t at = 0; at < text.size();) {
        const Character character = CharacterAt(text, at);
        width += WidthOf(character.code);
        at += character.bytes.size();
    }
    return width;
}

std::string Fitting(const std::string& text, size_t width) {
    size_t at = 0;
    while (at < text.size()) {
        const Character character = CharacterAt(text, at);
        const size_t own = WidthOf(character.code);
        if (own > width)
            break;
        width -= own;
        at += character.bytes.size();
    }
    return text.substr(0, at);
}

std::string Masked(const std::string& text) {
    std::string masked;
    for (size_t at = 0; at < text.size();) {
        const Character character = CharacterAt(text, at);
        if (Steers(character.code) || (character.code == noCode && character.bytes.size() == 1))
            masked += '?';
        else
            masked += character.bytes;
        at += character.bytes.size();
    }
    return masked;
}

std::string Red(int descriptor, const std::string& text) {
    const bool isColoured = IsDrawnOn(descriptor) && Environment("NO_COLOR").empty();
    return isColoured ? "\x1b[31m" + text + "\x1b[0m" : text;
}

} // namespace TarnJobs::Terminal
