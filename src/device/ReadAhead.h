#pragma once

#include "codes/Mutex.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <limits>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace JobsManagerD {

/// Loads numbered items on four threads, some ahead, and hands them over on the caller's thread in their order: a card
/// answers several requests at once in little more than the time of one. What is ahead is bounded. With fewer threads,
/// or none, where the system has no more to give.
template <typename Result>
class ReadAhead {
public:
    using Load = std::function<Result(size_t)>;

    /// Once `cancel` is set no further item is begun.
    ReadAhead(size_t count, const std::atomic<bool>& cancel, Load load)
        : _count(count), _cancel(cancel), _load(std::move(load)), _slots(window) {
        _threads.reserve(threadCount);
        try {
            while (_threads.size() < threadCount)
                _threads.emplace_back([this] { _Run(); });
        } catch (const std::exception&) {
            // Those that have started do it all, and otherwise the caller's thread does.
        }
    }
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;
    /// Waits for the items that are being loaded.
    ~ReadAhead() {
        {
            const Locks::LockGuard lock(_mutex);
            _isStopped = true;
        }
        _mayLoad.notify_all();
        for (std::thread& thread : _threads)
            thread.join();
    }

    /// The next item; nothing when there is none, or after a cancel. Rethrows what loading it threw.
    std::optional<Result> Next() {
        if (_cancel || _taken == _count)
            return std::nullopt;
        std::optional<Item> item = _threads.empty() ? _LoadItem(_taken) : _TakeLoaded();
        if (!item)
            return std::nullopt;
        ++_taken;
        if (item->exception)
            std::rethrow_exception(item->exception);
        return std::move(item->result);
    }

private:
    struct Item {
        Result result{};
        std::exception_ptr exception;
    };

    static constexpr size_t threadCount = 4;
    static constexpr size_t window = 128;
    /// Waking a thread costs more than loading an item that the kernel has in memory: the caller sleeps until there
    /// are some, but where loading is slow not for longer than this.
    static constexpr size_t wantedAtOnce = 16;
    static constexpr std::chrono::microseconds patience{300};
    static constexpr size_t nothing = std::numeric_limits<size_t>::max();

    std::optional<Item> _TakeLoaded() {
        if (_taken == _known)
            _WaitForItems();
        else if (_taken >= _lastTold + window / 2)
            _TellTaken();
        // Threads have done with what is known to be loaded.
        return _taken == _known ? std::nullopt : std::exchange(_slots[_taken % window], std::nullopt);
    }

    void _TellTaken() {
        {
            const Locks::LockGuard lock(_mutex);
            _handedOver = _lastTold = _taken;
        }
        _mayLoad.notify_all();
    }

    void _WaitForItems() {
        _TellTaken();
        std::unique_lock lock(_mutex);
        if (_loaded == _taken) {
            _wanted = std::min(_taken + wantedAtOnce, _count);
            _areLoaded.wait_for(lock, patience, [this] { return _loaded >= _wanted; });
            _wanted = _taken + 1;
            _areLoaded.wait(lock, [this] { return _loaded >= _wanted || (_cancel && _begun == _taken); });
            _wanted = nothing;
        }
        _known = _loaded;
    }

    void _Run() {
        std::unique_lock lock(_mutex);
        while (true) {
            _mayLoad.wait(lock, [this] { return _IsOver() || _begun < _handedOver + window; });
            if (_IsOver())
                break;
            const size_t number = _begun++;
            lock.unlock();
            Item item = _LoadItem(number);
            lock.lock();
            _slots[number % window] = std::move(item);
            while (_loaded < _begun && _slots[_loaded % window])
                ++_loaded;
            if (_loaded >= _wanted)
                _areLoaded.notify_one();
        }
        _areLoaded.notify_one();
    }

    bool _IsOver() const { return _isStopped || _cancel || _begun == _count; }

    Item _LoadItem(size_t number) const {
        try {
            return {_load(number), nullptr};
        } catch (...) {
            return {Result{}, std::current_exception()};
        }
    }

    const size_t _count;
    const std::atomic<bool>& _cancel;
    const Load _load;

    // The caller's own: how many items it has taken, knows to be loaded, and has told the threads to have taken.
    size_t _taken = 0;
    size_t _known = 0;
    size_t _lastTold = 0;

    Locks::Mutex _mutex; // guards what follows, but for the slots of items that are known to be loaded
    std::condition_variable_any _mayLoad;
    std::condition_variable_any _areLoaded;
    bool _isStopped = false;
    size_t _begun = 0;
    size_t _loaded = 0; ///< without a gap
    size_t _handedOver = 0;
    /// The caller sleeps until so many are loaded.
    size_t _wanted = nothing;
    std::vector<std::optional<Item>> _slots;

    std::vector<std::thread> _threads;
};

} // namespace JobsManagerD
