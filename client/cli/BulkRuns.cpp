#include "EventLoop.h"
#include "ExitCodes.h"
#include "ProgressBar.h"
#include "Runs.h"

using namespace libjobsdaemon;

namespace TarnJobs::Runs {
namespace {

using Text = std::string;
using Texts = std::vector<std::string>;

/// The three calls of an operation. A deletion has no destination.
struct Calls {
    Operation operation;
    const char* verb;
    jobsDaemonRtn_e (*one)(JobsManager& service, const Text& source, const Text& destination, const Text& job);
    jobsDaemonRtn_e (*many)(JobsManager& service, const Text& source, const Text& destination, const Texts& jobs);
    jobsDaemonRtn_e (*all)(JobsManager& service, const Text& source, const Text& destination);
};

/// Follows the work on many jobs from its first progress on to its end.
class BulkWork {
public:
    BulkWork(const Invocation& invocation, const Calls& calls)
        : _invocation(invocation), _calls(calls), _source(invocation.ResolvedDevice()),
          _destination(invocation.given.Text("to")), _bar(invocation.output.IsJson()) {}

    Outcome Run() {
        const Texts jobs = _invocation.given.Texts("JOB");
        if (jobs.size() == 1) {
            Check(_calls.one(_invocation.service, _source, _destination, jobs[0]));
            return _Told(false, 1, 1);
        }
        if (_invocation.given.Has("no-wait")) {
            _Start(jobs);
            return {};
        }
        EventLoop loop(_invocation.service);
        _Start(jobs);
        loop.Run([this](const Event& event) { return _Take(event); },
                 [this] { _invocation.service.CancelCMD(_source); });
        return _Told(_finished.isCancelled, _finished.done, _finished.total);
    }

private:
    void _Start(const Texts& jobs) const {
        Check(jobs.empty() ? _calls.all(_invocation.service, _source, _destination)
                           : _calls.many(_invocation.service, _source, _destination, jobs));
    }

    bool _Take(const Event& event) {
        RefuseRemoved(event, _source);
        if (const auto* progress = std::get_if<ListProgress>(&event); progress && _IsOurs(*progress)) {
            // The end of earlier work may still have been on its way.
            _hasBegun = _hasBegun || (progress->percent == 0 && progress->done == 0);
            _bar.Draw(progress->percent, Text(_calls.verb) + " " + std::to_string(progress->done) + " of " +
                                             std::to_string(progress->total) + " jobs");
        }
        if (const auto* error = std::get_if<ListError>(&event); error && _hasBegun && _IsOurs(*error))
            _errors.push_back({{"job", error->jobID},
                               {"code", static_cast<int32_t>(error->code)},
                               {"text", ReturnCodeText(error->code)}});
        const auto* const finished = std::get_if<ListFinished>(&event);
        if (!finished || !_hasBegun || !_IsOurs(*finished))
            return false;
        _finished = *finished;
        return true;
    }

    template <typename ListEvent>
    bool _IsOurs(const ListEvent& event) const {
        return event.operation == _calls.operation && event.deviceID == _source && event.destination == _destination;
    }

    Outcome _Told(bool isCancelled, int32_t done, int32_t total) const {
        const Json bulk{{"device", _source},
                        {"destination", _destination},
                        {"isCancelled", isCancelled},
                        {"done", done},
                        {"total", total},
                        {"errors", _errors}};
        if (isCancelled)
            return {bulk, exitCancelled};
        return {bulk, done < total ? exitIncomplete : exitSucceeded};
    }

    const Invocation& _invocation;
    const Calls& _calls;
    const Text _source;
    const Text _destination;
    ProgressBar _bar;
    bool _hasBegun = false;
    Json _errors = Json::array();
    ListFinished _finished{};
};

Outcome DoBulk(const Invocation& invocation, const Calls& calls) {
    if (invocation.given.Has("JOB") == invocation.given.Has("all"))
        throw WrongArguments("name the jobs, or say --all");
    if (calls.operation != Operation::Delete && !invocation.given.Has("to"))
        throw WrongArguments("name the destination with --to");
    return BulkWork(invocation, calls).Run();
}

} // namespace

Outcome Delete(const Invocation& invocation) {
    using M = JobsManager;
    return DoBulk(
        invocation,
        {Operation::Delete, "deleted",
         [](M& service, const Text& source, const Text&, const Text& job) { return service.DeleteJob(source, job); },
         [](M& service, const Text& source, const Text&, const Texts& jobs) {
             return service.DeleteJobList(source, jobs);
         },
         [](M& service, const Text& source, const Text&) { return service.DeleteAllJobs(source); }});
}

template <auto one, auto many, auto all>
constexpr Calls Transfer(Operation operation, const char* verb) {
    return {operation, verb,
            [](JobsManager& service, const Text& source, const Text& destination, const Text& job) {
                return (service.*one)(source, destination, job);
            },
            [](JobsManager& service, const Text& source, const Text& destination, const Texts& jobs) {
                return (service.*many)(source, destination, jobs);
            },
            [](JobsManager& service, const Text& source, const Text& destination) {
                return (service.*all)(source, destination);
            }};
}

Outcome Move(const Invocation& invocation) {
    return DoBulk(invocation, Transfer<&JobsManager::MoveJob, &JobsManager::MoveJobList, &JobsManager::MoveAllJobs>(
                                  Operation::Move, "moved"));
}

Outcome Copy(const Invocation& invocation) {
    return DoBulk(invocation, Transfer<&JobsManager::CopyJob, &JobsManager::CopyJobList, &JobsManager::CopyAllJobs>(
                                  Operation::Copy, "copied"));
}

} // namespace TarnJobs::Runs
