#include "Confirm.h"
#include "EventLoop.h"
#include "ExitCodes.h"
#include "Failure.h"
#include "ProgressBar.h"
#include "Runs.h"

#include <algorithm>
#include <optional>
#include <set>

using namespace libjobsdaemon;

namespace TarnJobs::Runs {
namespace {

using Text = std::string;
using Texts = std::vector<std::string>;

/// The two calls of an operation. A deletion has no destination. The calls for one job are not used: they hold up every
/// other client until the job is done.
struct Calls {
    Operation operation;
    const char* verb;
    jobsDaemonRtn_e (*many)(JobsManager& service, const Text& source, const Text& destination, const Texts& jobs);
    jobsDaemonRtn_e (*all)(JobsManager& service, const Text& source, const Text& destination);
};

/// Follows the work on jobs from its first progress on to its end.
class BulkWork {
public:
    BulkWork(const Invocation& invocation, const Calls& calls)
        : _invocation(invocation), _calls(calls), _jobs(invocation.given.Texts("JOB")),
          _source(invocation.ResolvedDevice()), _destination(invocation.given.Text("to")) {}

    Outcome Run() {
        if (_invocation.given.Has("no-wait"))
            return Done(_Start());
        EventLoop loop(_invocation.service);
        {
            ProgressBar bar(_invocation.output.IsJson());
            _bar = &bar;
            Check(_Start());
            loop.Run(
                {[this](const Event& event) { return _Take(event); }, [this] { _Cancel(); }, [&bar] { bar.Redraw(); }});
        }
        return _Told();
    }

private:
    jobsDaemonRtn_e _Start() const {
        JobsManager& service = _invocation.service;
        if (_jobs.empty())
            return _calls.all(service, _source, _destination);
        // The service would end a conversion for the sake of a deletion, which is much for a job or two.
        const auto device = service.FindDevice(_source);
        if (device && device->state == "Converting")
            return JOBS_RTN_DEVICE_BUSY;
        return _calls.many(service, _source, _destination, _jobs);
    }

    /// A second Ctrl-C ends the program, while the service goes on to the end of the job.
    void _Cancel() {
        _isInterrupted = true;
        _bar->Note("cancelling after this job");
        _invocation.service.SetTimeout("CancelCMD", std::chrono::milliseconds::zero());
        if (_invocation.service.CancelCMD(_source) == JOBS_RTN_DEVICE_NOT_FOUND)
            throw DeviceGone(_source);
    }

    bool _Take(const Event& event) {
        CheckDeviceStays(event, _source);
        if (!_destination.empty())
            CheckDeviceStays(event, _destination);
        if (const auto* progress = std::get_if<ListProgress>(&event); progress && _IsOurs(*progress)) {
            // The end of earlier work may still have been on its way.
            _hasBegun = _hasBegun || (progress->percent == 0 && progress->done == 0);
            _bar->Draw(progress->percent, progress->done,
                       Text(_calls.verb) + " " + std::to_string(progress->done) + " of " +
                           std::to_string(progress->total) + " jobs");
        }
        if (const auto* error = std::get_if<ListError>(&event); error && _hasBegun && _IsOurs(*error))
            _TakeError(*error);
        if (const auto* finished = std::get_if<ListFinished>(&event); finished && _hasBegun && _IsOurs(*finished))
            _finished = *finished;
        return _finished && _AreFree(event);
    }

    /// Whether both devices are ready for the next command; they become so after the work has told its end.
    bool _AreFree(const Event& event) {
        for (const Text& device : {_source, _destination})
            if (ChangedText(event, device, "DeviceState") == "Idle")
                _free.insert(device);
        return _free.size() == (_destination.empty() ? 1 : 2);
    }

    void _TakeError(const ListError& error) {
        const Refused refused(error.code);
        _errors.push_back({{"job", error.jobID}, {"code", static_cast<int32_t>(error.code)}, {"text", refused.what()}});
        // The failure of the only job is that of the command, which is told at its end.
        if (_jobs.size() != 1)
            _bar->Say(FailureLine(RefusalOf(refused, error.jobID), _invocation.output.IsJson()));
    }

    template <typename ListEvent>
    bool _IsOurs(const ListEvent& event) const {
        return event.operation == _calls.operation && event.deviceID == _source && event.destination == _destination;
    }

    /// Both devices were there when the work began. The loss of the source looks like a cancellation by somebody else.
    void _CheckDevicesStayed() const {
        const auto isOfLoss = [](const Json& error) {
            return error["code"] == static_cast<int32_t>(JOBS_RTN_DEVICE_NOT_FOUND);
        };
        const bool hasFailed = std::any_of(_errors.begin(), _errors.end(), isOfLoss);
        const bool isOddlyCancelled = _finished->isCancelled && !_isInterrupted;
        // The object of a device may outlast what the service still does with it.
        if ((hasFailed || isOddlyCancelled) &&
            _invocation.service.GetJobListStats(_source).code == JOBS_RTN_DEVICE_NOT_FOUND)
            throw DeviceGone(_source);
        if (hasFailed)
            throw DeviceGone(_destination);
    }

    int _ExitCode() const {
        if (_isInterrupted && _finished->isCancelled)
            return exitCancelled;
        return _finished->done < _finished->total ? exitIncomplete : exitSucceeded;
    }

    Outcome _Told() const {
        const Outcome outcome{.result = Json{{"device", _source},
                                             {"destination", _destination},
                                             {"isCancelled", _finished->isCancelled},
                                             {"done", _finished->done},
                                             {"total", _finished->total},
                                             {"errors", _errors}},
                              .exitCode = _ExitCode()};
        if (_jobs.size() != 1)
            _invocation.output.Tell(outcome);
        _CheckDevicesStayed();
        if (_jobs.size() == 1 && !_errors.empty())
            throw Refused(_errors[0]["code"].get<int32_t>());
        return _jobs.size() == 1 ? outcome : Outcome{.exitCode = outcome.exitCode};
    }

    const Invocation& _invocation;
    const Calls& _calls;
    const Texts _jobs; ///< empty for all
    const Text _source;
    const Text _destination;
    ProgressBar* _bar = nullptr;
    bool _hasBegun = false;
    bool _isInterrupted = false;
    Json _errors = Json::array();
    std::optional<ListFinished> _finished;
    std::set<Text> _free;
};

/// The code that the service would refuse a job with, as far as its summary tells.
int32_t Refusal(const Calls& calls, const Json& summary, const Text& currentJob) {
    if (calls.operation == Operation::Copy)
        return JOBS_RTN_SUCCEEDED;
    if (summary.value("id", "") == currentJob)
        return JOBS_RTN_CURRENT_JOB_PROTECTED;
    return summary.value("locked", false) ? JOBS_RTN_LOCKED_JOB : JOBS_RTN_SUCCEEDED;
}

/// What would be done, job by job.
Outcome DryRun(const Invocation& invocation, const Calls& calls) {
    const Texts wanted = invocation.given.Texts("JOB");
    const Text device = invocation.ResolvedDevice();
    const Text list = Checked(invocation.service.GetJobList(device, SortBy::creation, Order::ascending, 0, 0)).text;
    const Text currentJob = invocation.service.GetCurrentJobID();
    Json told = Json::array();
    for (const Json& summary : Parsed(list)) {
        if (!wanted.empty() && std::find(wanted.begin(), wanted.end(), summary.value("id", "")) == wanted.end())
            continue;
        const int32_t code = Refusal(calls, summary, currentJob);
        told.push_back({{"id", summary.value("id", "")},
                        {"name", summary.value("name", "")},
                        {"jobSize", summary.value("jobSize", Json(0))},
                        {"code", code},
                        {"text", code == JOBS_RTN_SUCCEEDED ? "would be " + Text(calls.verb) : ReturnCodeText(code)}});
    }
    if (told.size() < wanted.size())
        throw Refused(JOBS_RTN_JOB_ID_NOT_FOUND);
    return {.result = told};
}

void ConfirmDeletionOfAll(const Invocation& invocation) {
    if (!invocation.given.Has("yes") && !CanAsk())
        throw WrongArguments("without a terminal to ask on, delete --all needs --yes");
    const Text device = invocation.ResolvedDevice();
    const Json stats = Parsed(Checked(invocation.service.GetJobListStats(device)).text);
    const int64_t count = stats.value("nRuvoJobs", int64_t{0}) + stats.value("nTamsyJobs", int64_t{0});
    Confirm(invocation, "Delete all " + std::to_string(count) + " jobs of \"" + device + "\"?");
}

Outcome DoBulk(const Invocation& invocation, const Calls& calls) {
    if (invocation.given.Has("JOB") == invocation.given.Has("all"))
        throw WrongArguments("name the jobs, or say --all");
    if (calls.operation != Operation::Delete && !invocation.given.Has("to"))
        throw WrongArguments("name the destination with --to");
    if (invocation.given.Has("dry-run"))
        return DryRun(invocation, calls);
    if (calls.operation == Operation::Delete && invocation.given.Has("all"))
        ConfirmDeletionOfAll(invocation);
    return BulkWork(invocation, calls).Run();
}

template <auto many, auto all>
constexpr Calls Transfer(Operation operation, const char* verb) {
    return {operation, verb,
            [](JobsManager& service, const Text& source, const Text& destination, const Texts& jobs) {
                return (service.*many)(source, destination, jobs);
            },
            [](JobsManager& service, const Text& source, const Text& destination) {
                return (service.*all)(source, destination);
            }};
}

} // namespace

Outcome Delete(const Invocation& invocation) {
    using M = JobsManager;
    return DoBulk(invocation,
                  {Operation::Delete, "deleted",
                   [](M& service, const Text& source, const Text&, const Texts& jobs) {
                       return service.DeleteJobList(source, jobs);
                   },
                   [](M& service, const Text& source, const Text&) { return service.DeleteAllJobs(source); }});
}

Outcome Move(const Invocation& invocation) {
    return DoBulk(invocation, Transfer<&JobsManager::MoveJobList, &JobsManager::MoveAllJobs>(Operation::Move, "moved"));
}

Outcome Copy(const Invocation& invocation) {
    return DoBulk(invocation,
                  Transfer<&JobsManager::CopyJobList, &JobsManager::CopyAllJobs>(Operation::Copy, "copied"));
}

} // namespace TarnJobs::Runs
