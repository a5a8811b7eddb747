#pragma once

#include <array>
#include <cstddef>
#include <string_view>
#include <syslog.h>
#include <type_traits>

namespace JobsManagerD {

/// A line of the log that is passed around, as a member of a table's row or as an argument, with the types of what it
/// takes. A format that does not fit them does not compile; one that leaves out the last of them fits.
///
/// Knows "%s" for const char*, "%d" for int, "%u" for unsigned, "%zu" for size_t and "%f" for double.
template <typename... Arguments>
class LogLine {
public:
    consteval LogLine(const char* format) : _format(format) {
        if (!Fits(format))
            throw "the format does not fit the arguments";
    }

    /// Writes the line with a priority of syslog, LOG_ERR to LOG_DEBUG. Any thread may.
    void Write(int priority, Arguments... arguments) const { syslog(priority, _format, arguments...); }

    static constexpr bool Fits(std::string_view format) {
        constexpr std::array<std::string_view, sizeof...(Arguments)> kinds{Kind<Arguments>()...};
        size_t used = 0;
        for (size_t at = format.find('%'); at != format.npos; at = format.find('%', at)) {
            const std::string_view conversion = format.substr(++at);
            if (conversion.starts_with('%')) {
                ++at;
                continue;
            }
            if (used == kinds.size() || !conversion.starts_with(kinds[used]))
                return false;
            ++used;
        }
        return true;
    }

private:
    template <typename T>
    static constexpr std::string_view Kind() {
        if constexpr (std::is_same_v<T, const char*>)
            return "s";
        else if constexpr (std::is_same_v<T, int>)
            return "d";
        else if constexpr (std::is_same_v<T, unsigned>)
            return "u";
        else if constexpr (std::is_same_v<T, size_t>)
            return "zu";
        else if constexpr (std::is_same_v<T, double>)
            return "f";
    }

    const char* _format;
};

} // namespace JobsManagerD
