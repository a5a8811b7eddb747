#pragma once

#include "Terminal.h"

#include <nlohmann/json.hpp>
#include <ostream>
#include <string>

namespace TarnJobs {

using Json = nlohmann::ordered_json;

/// Standard output as views write to it. On a terminal a text is masked, and what stands out has a colour; elsewhere it
/// goes out as it is.
class Page {
public:
    Page(std::ostream& out, bool isUtc);

    void Line(const std::string& text) { _out << text << '\n'; }

    /// A value as it stands in a line: a text, or else JSON.
    std::string Text(const Json& value) const;
    /// A moment that the service tells, in the user's time; a text that is none stays.
    std::string Time(const std::string& moment) const;
    /// Where there are colours; of what has failed.
    std::string Red(const std::string& text) const;

private:
    std::ostream& _out;
    const bool _isUtc;
    const bool _isTerminal;
};

/// The JSON that the text is, or the text itself when it is none; null for an empty text.
Json Parsed(const std::string& text);
/// In one line.
std::string Dumped(const Json& value);
/// This moment, as the service writes one.
std::string MomentNow();

} // namespace TarnJobs
