#include "Page.h"

#include <ctime>
#include <unistd.h>

namespace TarnJobs {
namespace {

constexpr const char* momentForm = "%Y-%m-%dT%H:%M:%SZ";

std::string Written(const tm& time, const char* form) {
    char text[32];
    return {text, std::strftime(text, sizeof text, form, &time)};
}

} // namespace

Page::Page(std::ostream& out, bool isUtc)
    : _out(out), _isUtc(isUtc), _isTerminal(Terminal::IsTerminal(STDOUT_FILENO)) {}

std::string Page::Text(const Json& value) const {
    const std::string text = value.is_string() ? value.get<std::string>() : Dumped(value);
    return _isTerminal ? Terminal::Masked(text) : text;
}

std::string Page::Time(const std::string& moment) const {
    tm utc{};
    const char* const end = strptime(moment.c_str(), momentForm, &utc);
    if (_isUtc || !end || *end != '\0')
        return _isTerminal ? Terminal::Masked(moment) : moment;
    const time_t seconds = timegm(&utc);
    tm local{};
    localtime_r(&seconds, &local);
    return Written(local, "%Y-%m-%d %H:%M:%S");
}

std::string Page::Red(const std::string& text) const { return Terminal::Red(STDOUT_FILENO, text); }

Json Parsed(const std::string& text) {
    if (text.empty())
        return nullptr;
    Json value = Json::parse(text, nullptr, false);
    return value.is_discarded() ? Json(text) : value;
}

std::string Dumped(const Json& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

std::string MomentNow() {
    const time_t now = std::time(nullptr);
    tm utc{};
    gmtime_r(&now, &utc);
    return Written(utc, momentForm);
}

} // namespace TarnJobs
