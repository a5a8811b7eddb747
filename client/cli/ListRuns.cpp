#include "EventLoop.h"
#include "ExitCodes.h"
#include "Runs.h"

#include <csignal>
#include <sstream>

using namespace libjobsdaemon;

namespace TarnJobs::Runs {
namespace {

uint16_t Place(const Invocation& invocation, const char* key) {
    return static_cast<uint16_t>(invocation.given.Number(key));
}

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

Outcome ResultsOf(const Invocation& invocation, const std::string& device) {
    return Relayed(invocation.service.GetSearchResults(device, Place(invocation, "start"), Place(invocation, "limit")));
}

} // namespace

Outcome List(const Invocation& invocation) {
    const bool isByChange = invocation.given.Text("sort") == "modified";
    const TextResult list =
        invocation.service.GetJobList(invocation.Device(), isByChange ? SortBy::modification : SortBy::creation,
                                      invocation.given.Has("ascending") ? Order::ascending : Order::descending,
                                      Place(invocation, "start"), Place(invocation, "limit"));
    return Relayed(list);
}

Outcome Stats(const Invocation& invocation) { return Relayed(invocation.service.GetJobListStats(invocation.Device())); }

Outcome Search(const Invocation& invocation) {
    const std::string device = invocation.ResolvedDevice();
    const Json what = WhatToSearch(invocation.given);
    EventLoop loop(invocation.service);
    const int32_t code =
        invocation.service.SearchJobs(device, what.dump(), MatchOf(invocation.given), Place(invocation, "limit"),
                                      invocation.given.Has("case-sensitive"));
    if (invocation.given.Has("no-wait"))
        return Done(code);
    Check(code);
    bool isReplaced = false;
    const auto isOurs = [&what](const std::string& stats) { return Parsed(stats).value("field", Json()) == what; };
    const auto take = [&](const Event& event) {
        CheckDeviceStays(event, device);
        const std::string stats = ChangedText(event, device, "SearchStats");
        if (stats.empty() || isOurs(stats))
            return !stats.empty();
        // The end of another search: one before ours, or one that has taken its place.
        isReplaced = !isOurs(Checked(invocation.service.GetSearchStats(device)).text);
        return isReplaced;
    };
    loop.Run({take, [] { raise(SIGINT); }, [] {}});
    if (isReplaced)
        throw Replaced("another search has taken the place of this one");
    return ResultsOf(invocation, device);
}

Outcome Results(const Invocation& invocation) { return ResultsOf(invocation, invocation.Device()); }

Outcome SearchStats(const Invocation& invocation) {
    return Relayed(invocation.service.GetSearchStats(invocation.Device()));
}

} // namespace TarnJobs::Runs
