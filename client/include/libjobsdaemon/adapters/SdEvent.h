#pragma once

#include "libjobsdaemon/JobsManager.h"

#include <functional>
#include <system_error>
#include <systemd/sd-event.h>
#include <utility>

// For programs whose loop is sd-event. They link libsystemd themselves; the library has no part in this header.

namespace libjobsdaemon {

/// Hands the events of a JobsManager to a function, from a loop of sd-event. Subscribes. The loop, this object and the
/// JobsManager, which must outlive it and stay where it is, belong to one thread.
class SdEventSource {
public:
    using TakeEvent = std::function<void(const Event& event)>;
    /// The connection is lost, and no more events come; `reason` is an errno.
    using TakeLoss = std::function<void(int reason)>;

    /// Neither function may throw, nor destroy this object. Throws std::system_error, and what Subscribe() throws.
    SdEventSource(sd_event* loop, JobsManager& jobs, TakeEvent takeEvent, TakeLoss takeLoss)
        : _jobs(jobs), _takeEvent(std::move(takeEvent)), _takeLoss(std::move(takeLoss)) {
        _jobs.Subscribe();
        try {
            _Check(
                sd_event_add_io(loop, &_input, _jobs.Fd(), static_cast<uint32_t>(_jobs.PollEvents()), _OnInput, this));
            _Check(sd_event_add_time(loop, &_timer, CLOCK_MONOTONIC, UINT64_MAX, 0, _OnTime, this));
            _Check(sd_event_source_set_prepare(_input, _Prepare));
        } catch (...) {
            _Release();
            throw;
        }
    }
    SdEventSource(const SdEventSource&) = delete;
    SdEventSource& operator=(const SdEventSource&) = delete;
    ~SdEventSource() { _Release(); }

private:
    static void _Check(int result) {
        if (result < 0)
            throw std::system_error(-result, std::generic_category(), "sd-event");
    }
    static int _OnInput(sd_event_source*, int, uint32_t, void* self) noexcept {
        return static_cast<SdEventSource*>(self)->_Process();
    }
    static int _OnTime(sd_event_source*, uint64_t, void* self) noexcept {
        return static_cast<SdEventSource*>(self)->_Process();
    }
    /// Calls that were made since the last poll may have changed how long the next one may last, and may have brought
    /// events along.
    static int _Prepare(sd_event_source*, void* self) noexcept {
        SdEventSource& source = *static_cast<SdEventSource*>(self);
        const auto timeout = source._jobs.Timeout();
        if (!timeout)
            return sd_event_source_set_enabled(source._timer, SD_EVENT_OFF);
        const int result = sd_event_source_set_time_relative(source._timer, static_cast<uint64_t>(timeout->count()));
        return result < 0 ? result : sd_event_source_set_enabled(source._timer, SD_EVENT_ONESHOT);
    }

    int _Process() noexcept {
        try {
            for (const Event& event : _jobs.Process())
                _takeEvent(event);
        } catch (const NotConnected& lost) {
            sd_event_source_set_enabled(_timer, SD_EVENT_OFF);
            sd_event_source_set_enabled(_input, SD_EVENT_OFF);
            _takeLoss(lost.Reason());
        }
        return 0;
    }
    void _Release() noexcept {
        sd_event_source_disable_unref(_timer);
        sd_event_source_disable_unref(_input);
    }

    JobsManager& _jobs;
    const TakeEvent _takeEvent;
    const TakeLoss _takeLoss;
    sd_event_source* _input = nullptr;
    sd_event_source* _timer = nullptr;
};

} // namespace libjobsdaemon
