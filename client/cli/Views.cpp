#include "Views.h"

#include <algorithm>

namespace TarnJobs {
namespace {

using Pointer = Json::json_pointer;

using Row = std::vector<std::string>;

/// Columns as wide as their widest text; the first row is the heading.
void ShowTable(Page& page, std::vector<Row> rows) {
    std::vector<size_t> widths(rows[0].size());
    for (Row& row : rows)
        for (size_t column = 0; column < row.size(); ++column) {
            std::replace(row[column].begin(), row[column].end(), '\n', ' ');
            widths[column] = std::max(widths[column], Terminal::WidthOf(row[column]));
        }
    for (const Row& row : rows) {
        std::string line;
        for (size_t column = 0; column < row.size(); ++column)
            line += row[column] + std::string(widths[column] - Terminal::WidthOf(row[column]) + 2, ' ');
        page.Line(line.substr(0, line.find_last_not_of(' ') + 1));
    }
}

bool IsMoment(const std::string& key) { return key == "createTime" || key == "modifiedTime"; }

void ShowBranch(Page& page, const Json& value, const std::string& indent) {
    for (const auto& [key, member] : value.items()) {
        const std::string label = value.is_array() ? "-" : page.Text(key) + ":";
        if (member.is_structured() && !member.empty()) {
            page.Line(indent + label);
            ShowBranch(page, member, indent + "  ");
        } else {
            const bool isMoment = IsMoment(key) && member.is_string();
            page.Line(indent + label + ' ' + (isMoment ? page.Time(member.get<std::string>()) : page.Text(member)));
        }
    }
}

/// A member at a place of the object; empty when there is none.
std::string At(const Page& page, const Json& object, const char* place) {
    const Pointer pointer(place);
    return object.contains(pointer) ? page.Text(object.at(pointer)) : "";
}

std::string TimeAt(const Page& page, const Json& object, const char* place) {
    const Json moment = object.value(Pointer(place), Json());
    return moment.is_string() ? page.Time(moment.get<std::string>()) : "";
}

/// The row of a summary, without its name, which goes last.
Row SummaryRow(const Page& page, const Json& summary) {
    return {At(page, summary, "/id"), TimeAt(page, summary, "/timestamp/createTime"),
            TimeAt(page, summary, "/timestamp/modifiedTime"), At(page, summary, "/mediaCounts/total"),
            At(page, summary, "/jobSize")};
}

/// Where a search has hit, and what: "customer.lastName: Berg", "contact 2, lastName: Reed".
std::string Hit(const Page& page, const Json& summary) {
    const Json match = summary.value("matchResult", Json());
    if (!match.is_object() || !match.contains("term"))
        return "";
    std::string where;
    const Json flat = match["term"].flatten();
    for (const auto& [pointer, text] : flat.items()) {
        std::string path = pointer.substr(std::min<size_t>(1, pointer.size()));
        std::replace(path.begin(), path.end(), '/', '.');
        // A search in one field is told the text alone.
        where += (where.empty() ? "" : "; ") + (path.empty() ? "" : page.Text(path) + ": ") + page.Text(text);
    }
    if (match.contains("contactID"))
        return "contact " + page.Text(match["contactID"]) + ", " + where;
    return match.contains("mediaID") ? "media item " + page.Text(match["mediaID"]) + ", " + where : where;
}

} // namespace

void ShowNothing(Page&, const Json&) {}

void ShowId(Page& page, const Json& result) { page.Line(page.Text(result.at("id"))); }

void ShowTree(Page& page, const Json& result) {
    if (!result.is_structured())
        page.Line(result.is_null() ? "" : page.Text(result));
    else
        ShowBranch(page, result, "");
}

void ShowLines(Page& page, const Json& result) {
    for (const Json& element : result)
        page.Line(page.Text(element));
}

void ShowDevices(Page& page, const Json& devices) {
    std::vector<Row> rows{{"", "DEVICE", "STATE", "JOBS", "OLDER JOBS", "CURRENT JOB"}};
    for (const Json& device : devices)
        rows.push_back({device["isTarget"] == true ? "*" : "", page.Text(device["id"]), page.Text(device["state"]),
                        At(page, device, "/jobListStats/nRuvoJobs"), At(page, device, "/jobListStats/nTamsyJobs"),
                        page.Text(device["currentJobID"])});
    ShowTable(page, std::move(rows));
}

void ShowStatus(Page& page, const Json& status) {
    const Json& service = status["service"];
    page.Line("Client:      " + page.Text(status["client"]) + ", library " + page.Text(status["library"]));
    if (service["isRunning"] == false) {
        page.Line("Service:     " + page.Red("not running"));
        return;
    }
    page.Line("Service:     running as process " + page.Text(service["processID"]) + ", version " +
              (service["version"].is_null() ? "unknown" : page.Text(service["version"])));
    const bool isOpen = !status["currentJob"].is_null();
    page.Line("Current job: " +
              (isOpen ? At(page, status, "/currentJob/id") + " on " + At(page, status, "/currentJob/device")
                      : std::string("none")));
    ShowDevices(page, status["devices"]);
}

void ShowStats(Page& page, const Json& stats) {
    page.Line("jobs: " + At(page, stats, "/nRuvoJobs"));
    page.Line("older jobs: " + At(page, stats, "/nTamsyJobs"));
    page.Line("older jobs at the last index run: " + At(page, stats, "/nTamsyJobsAtReIndex"));
}

void ShowJobs(Page& page, const Json& summaries) {
    std::vector<Row> rows{{"JOB", "CREATED", "CHANGED", "MEDIA", "BYTES", "NAME"}};
    for (const Json& summary : summaries) {
        rows.push_back(SummaryRow(page, summary));
        rows.back().push_back(At(page, summary, "/name"));
    }
    ShowTable(page, std::move(rows));
}

void ShowFound(Page& page, const Json& summaries) {
    std::vector<Row> rows{{"JOB", "CREATED", "CHANGED", "MEDIA", "BYTES", "NAME", "FOUND"}};
    for (const Json& summary : summaries) {
        rows.push_back(SummaryRow(page, summary));
        rows.back().push_back(At(page, summary, "/name"));
        rows.back().push_back(Hit(page, summary));
    }
    ShowTable(page, std::move(rows));
}

void ShowSearchStats(Page& page, const Json& stats) {
    page.Line("found: " + At(page, stats, "/nMatches"));
    const Json what = stats.value("field", Json());
    std::string path = "everywhere";
    const Json flat = what.is_object() ? what.flatten() : Json{{"", what}};
    for (const auto& [pointer, text] : flat.items()) {
        if (!pointer.empty())
            path = page.Text(pointer.substr(1));
        std::replace(path.begin(), path.end(), '/', '.');
        page.Line("searched for: " + (text.is_null() ? "nothing yet" : page.Text(text)));
    }
    page.Line("in: " + path);
    page.Line("match: " + At(page, stats, "/matchCriterion"));
    page.Line("large and small letters: " +
              std::string(stats.value("caseSensitive", false) ? "told apart" : "the same"));
    const Json limit = stats.value("matchLimit", Json(0));
    page.Line("limit: " + (limit == 0 ? "none" : page.Text(limit)));
}

void ShowBulk(Page& page, const Json& bulk) {
    if (bulk.is_array()) {
        std::vector<Row> rows{{"JOB", "BYTES", "NAME", ""}};
        for (const Json& job : bulk)
            rows.push_back(
                {page.Text(job["id"]), page.Text(job["jobSize"]), page.Text(job["name"]), page.Text(job["text"])});
        ShowTable(page, std::move(rows));
        return;
    }
    page.Line(page.Text(bulk["done"]) + " of " + page.Text(bulk["total"]) + " jobs" +
              (bulk["isCancelled"] == true ? ", cancelled" : ""));
}

void ShowEvent(Page& page, const Json& event) {
    const std::string name = page.Text(event["event"]);
    const bool isFailure = name.ends_with("Error");
    std::string line = page.Time(event["time"].get<std::string>()) + "  " + (isFailure ? page.Red(name) : name);
    for (const auto& [key, value] : event.items())
        if (key != "event" && key != "time" && value != "")
            line += "  " + page.Text(key) + '=' + page.Text(value);
    std::replace(line.begin(), line.end(), '\n', ' ');
    page.Line(line);
}

} // namespace TarnJobs
