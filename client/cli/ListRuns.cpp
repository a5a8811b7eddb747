#include "EventJson.h"
#include "EventLoop.h"
#include "ExitCodes.h"
#include "Runs.h"

#include <csignal>
#include <sstream>

using namespace libjobsdaemon;

namespace TarnJobs::Runs {
namespace {

uint16_t Place(const Session& session, const char* key) { return static_cast<uint16_t>(session.given.Number(key)); }

/// What to search as the service takes it: the text, inside an object for each key that leads to it.
Json WhatToSearch(const Given& given) {
    std::vector<std::string> keys;
    std::istringstream path(given.Text("in"));
    for (std::string key; std::getline(path, key, '.');)
        keys.push_back(key);
    Json what = given.Text("TEXT");
    for (auto key = keys.rbegin(); key != keys.rend(); ++key)
        what = Json{{*key, what}};
    return what;
}

Match MatchOf(const Given& given) {
    static const std::map<std::string, Match> matches{{"", Match::contains},
                                                      {"contains", Match::contains},
                                                      {"starts", Match::startsWith},
                                                      {"exactly", Match::exactly}};
    return matches.at(given.Text("match"));
}

Outcome ResultsOf(const Session& session, const std::string& device) {
    return {Parsed(
        Checked(session.service.GetSearchResults(device, Place(session, "start"), Place(session, "limit"))).text)};
}

} // namespace

Outcome List(const Session& session) {
    const bool isByChange = session.given.Text("sort") == "modified";
    const TextResult list =
        session.service.GetJobList(session.Device(), isByChange ? SortBy::modification : SortBy::creation,
                                   session.given.Has("ascending") ? Order::ascending : Order::descending,
                                   Place(session, "start"), Place(session, "limit"));
    return {Parsed(Checked(list).text)};
}

Outcome Stats(const Session& session) {
    return {Parsed(Checked(session.service.GetJobListStats(session.Device())).text)};
}

Outcome Search(const Session& session) {
    const std::string device = session.ResolvedDevice();
    const Json what = WhatToSearch(session.given);
    EventLoop loop(session.service);
    const int32_t code = session.service.SearchJobs(device, what.dump(), MatchOf(session.given),
                                                    Place(session, "limit"), session.given.Has("case-sensitive"));
    if (session.given.Has("no-wait"))
        return Done(code);
    Check(code);
    bool isReplaced = false;
    const auto isOurs = [&what](const std::string& stats) { return Parsed(stats).value("field", Json()) == what; };
    const auto take = [&](const Event& event) {
        RefuseRemoved(event, device);
        const std::string stats = ChangedText(event, device, "SearchStats");
        if (stats.empty() || isOurs(stats))
            return !stats.empty();
        // The end of another search: one before ours, or one that has taken its place.
        isReplaced = !isOurs(Checked(session.service.GetSearchStats(device)).text);
        return isReplaced;
    };
    loop.Run(take, [] { raise(SIGINT); });
    if (isReplaced)
        return {Json::array(), exitIncomplete};
    return ResultsOf(session, device);
}

Outcome Results(const Session& session) { return ResultsOf(session, session.Device()); }

Outcome SearchStats(const Session& session) {
    return {Parsed(Checked(session.service.GetSearchStats(session.Device())).text)};
}

} // namespace TarnJobs::Runs
