#pragma once

#include "libjobsdaemon/JobsManager.h"

#include <chrono>
#include <functional>
#include <glib.h>
#include <utility>

// For programs whose loop is GLib's, as those with GTK are. They link GLib themselves; the library has no part in this
// header.

namespace libjobsdaemon {

/// Hands the events of a JobsManager to a function, from a loop of GLib. Subscribes. The loop, this object and the
/// JobsManager, which must outlive it and stay where it is, belong to one thread.
class GLibSource {
public:
    using TakeEvent = std::function<void(const Event& event)>;
    /// The connection is lost, and no more events come; `reason` is an errno.
    using TakeLoss = std::function<void(int reason)>;

    /// Neither function may throw, nor destroy this object. A null context is the default one. Throws what Subscribe()
    /// throws.
    GLibSource(GMainContext* context, JobsManager& jobs, TakeEvent takeEvent, TakeLoss takeLoss)
        : _jobs(jobs), _takeEvent(std::move(takeEvent)), _takeLoss(std::move(takeLoss)) {
        static GSourceFuncs functions{_Prepare, _Check, _Dispatch, nullptr, nullptr, nullptr};
        _jobs.Subscribe();
        _source = reinterpret_cast<Source*>(g_source_new(&functions, sizeof(Source)));
        _source->owner = this;
        _source->tag = g_source_add_unix_fd(&_source->base, _jobs.Fd(), G_IO_IN);
        g_source_attach(&_source->base, context);
    }
    GLibSource(const GLibSource&) = delete;
    GLibSource& operator=(const GLibSource&) = delete;
    ~GLibSource() {
        g_source_destroy(&_source->base);
        g_source_unref(&_source->base);
    }

private:
    /// GLib allocates it, with its own part in front.
    struct Source {
        GSource base;
        GLibSource* owner;
        gpointer tag;
    };

    static Source& _Of(GSource* source) { return *reinterpret_cast<Source*>(source); }

    /// Calls that were made since the last poll may have changed how long the next one may last.
    static gboolean _Prepare(GSource* source, gint* timeout) noexcept {
        const auto left = _Of(source).owner->_jobs.Timeout();
        *timeout = left ? static_cast<gint>(std::chrono::ceil<std::chrono::milliseconds>(*left).count()) : -1;
        return *timeout == 0;
    }
    static gboolean _Check(GSource* source) noexcept {
        const auto left = _Of(source).owner->_jobs.Timeout();
        return (left && left->count() == 0) || g_source_query_unix_fd(source, _Of(source).tag) != 0;
    }
    static gboolean _Dispatch(GSource* source, GSourceFunc, gpointer) noexcept {
        GLibSource& owner = *_Of(source).owner;
        try {
            for (const Event& event : owner._jobs.Process())
                owner._takeEvent(event);
            return G_SOURCE_CONTINUE;
        } catch (const NotConnected& lost) {
            owner._takeLoss(lost.Reason());
            return G_SOURCE_REMOVE;
        }
    }

    JobsManager& _jobs;
    const TakeEvent _takeEvent;
    const TakeLoss _takeLoss;
    Source* _source = nullptr;
};

} // namespace libjobsdaemon
