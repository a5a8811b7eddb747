#include "Views.h"

#include <algorithm>

namespace TarnJobs {
namespace {

/// A value within a line.
std::string Text(const Json& value) {
    return Printable(value.is_string() ? value.get<std::string>()
                                       : value.dump(-1, ' ', false, Json::error_handler_t::replace));
}

/// How many columns the text takes: characters, not bytes.
size_t Width(const std::string& text) {
    return static_cast<size_t>(
        std::count_if(text.begin(), text.end(), [](char letter) { return (letter & 0xC0) != 0x80; }));
}

using Row = std::vector<std::string>;

/// Columns as wide as their widest text; the first row is the heading.
void ShowTable(std::ostream& out, std::vector<Row> rows) {
    std::vector<size_t> widths(rows[0].size());
    for (Row& row : rows)
        for (std::string& text : row)
            std::replace(text.begin(), text.end(), '\n', ' ');
    for (const Row& row : rows)
        for (size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], Width(row[column]));
    for (const Row& row : rows) {
        std::string line;
        for (size_t column = 0; column < row.size(); ++column)
            line += row[column] + std::string(widths[column] - Width(row[column]) + 2, ' ');
        out << line.substr(0, line.find_last_not_of(' ') + 1) << '\n';
    }
}

void ShowBranch(std::ostream& out, const Json& value, const std::string& indent) {
    for (const auto& [key, member] : value.items()) {
        const std::string label = value.is_array() ? "-" : Printable(key) + ":";
        if (member.is_structured() && !member.empty()) {
            out << indent << label << '\n';
            ShowBranch(out, member, indent + "  ");
        } else {
            out << indent << label << ' ' << Text(member) << '\n';
        }
    }
}

std::string At(const Json& object, const Json::json_pointer& place) {
    return object.contains(place) ? Text(object.at(place)) : "";
}

} // namespace

std::string Printable(const std::string& text) {
    std::string printable = text;
    std::replace_if(
        printable.begin(), printable.end(),
        [](char letter) {
            const auto code = static_cast<unsigned char>(letter);
            return (code < 0x20 && letter != '\n' && letter != '\t') || code == 0x7F;
        },
        '?');
    return printable;
}

void ShowNothing(std::ostream&, const Json&) {}

void ShowId(std::ostream& out, const Json& result) { out << Text(result.at("id")) << '\n'; }

void ShowTree(std::ostream& out, const Json& result) {
    if (!result.is_structured())
        out << Text(result) << '\n';
    else
        ShowBranch(out, result, "");
}

void ShowDevices(std::ostream& out, const Json& devices) {
    std::vector<Row> rows{{"", "DEVICE", "STATE", "JOBS", "OLDER JOBS", "CURRENT JOB"}};
    for (const Json& device : devices)
        rows.push_back({device["isTarget"] == true ? "*" : "", Text(device["id"]), Text(device["state"]),
                        At(device, "/jobListStats/nRuvoJobs"_json_pointer),
                        At(device, "/jobListStats/nTamsyJobs"_json_pointer), Text(device["currentJobID"])});
    ShowTable(out, rows);
}

void ShowJobs(std::ostream& out, const Json& summaries) {
    std::vector<Row> rows{{"JOB", "CREATED", "CHANGED", "MEDIA", "BYTES", "NAME"}};
    for (const Json& summary : summaries)
        rows.push_back({At(summary, "/id"_json_pointer), At(summary, "/timestamp/createTime"_json_pointer),
                        At(summary, "/timestamp/modifiedTime"_json_pointer),
                        At(summary, "/mediaCounts/total"_json_pointer), At(summary, "/jobSize"_json_pointer),
                        At(summary, "/name"_json_pointer)});
    ShowTable(out, rows);
}

void ShowBulk(std::ostream& out, const Json& bulk) {
    for (const Json& error : bulk["errors"])
        out << Text(error["job"]) << ": " << Text(error["text"]) << '\n';
    out << Text(bulk["done"]) << " of " << Text(bulk["total"]) << " jobs"
        << (bulk["isCancelled"] == true ? ", cancelled" : "") << '\n';
}

void ShowEvent(std::ostream& out, const Json& event) {
    out << Text(event["event"]);
    for (const auto& [key, value] : event.items())
        if (key != "event" && value != "")
            out << "  " << key << '=' << Text(value);
    out << '\n';
}

} // namespace TarnJobs
