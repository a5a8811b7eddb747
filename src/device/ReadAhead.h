#pragma once

#include <array>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace JobsManagerD {

/// Loads numbered items on two threads, some ahead, and hands them over on the caller's thread in their order: a card
/// answers several requests at once in little more than the time of one. What is ahead is bounded.
template <typename Result>
class ReadAhead {
public:
    using Load = std::function<Result(size_t)>;

    ReadAhead(size_t count, Load load) : _count(count), _load(std::move(load)) {
        for (std::thread& thread : _threads)
            thread = std::thread([this] { _Run(); });
    }
    ReadAhead(const ReadAhead&) = delete;
    ReadAhead& operator=(const ReadAhead&) = delete;
    /// Waits for the items that are being loaded; no further one is begun.
    ~ReadAhead() {
        {
            const std::lock_guard lock(_mutex);
            _count = 0;
        }
        _changed.notify_all();
        for (std::thread& thread : _threads)
            thread.join();
    }

    /// The next item, to be called at most once for each. Rethrows what loading it threw.
    Result Next() {
        std::unique_lock lock(_mutex);
        Slot& slot = _slots[_taken % _slots.size()];
        _changed.wait(lock, [&slot] { return slot.isLoaded; });
        Slot taken = std::move(slot);
        slot = Slot();
        ++_taken;
        lock.unlock();
        _changed.notify_all();
        if (taken.exception)
            std::rethrow_exception(taken.exception);
        return std::move(taken.result);
    }

private:
    struct Slot {
        bool isLoaded = false;
        Result result{};
        std::exception_ptr exception;
    };

    void _Run() {
        std::unique_lock lock(_mutex);
        while (true) {
            _changed.wait(lock, [this] { return _begun >= _count || _begun < _taken + _slots.size(); });
            if (_begun >= _count)
                return;
            const size_t number = _begun++;
            lock.unlock();
            Slot loaded = _LoadItem(number);
            lock.lock();
            _slots[number % _slots.size()] = std::move(loaded);
            if (number == _taken)
                _changed.notify_all();
        }
    }

    Slot _LoadItem(size_t number) const {
        Slot slot{true, {}, nullptr};
        try {
            slot.result = _load(number);
        } catch (...) {
            slot.exception = std::current_exception();
        }
        return slot;
    }

    std::mutex _mutex; // guards all but _load
    std::condition_variable _changed;
    size_t _count;
    size_t _begun = 0;
    size_t _taken = 0;
    std::array<Slot, 32> _slots;
    const Load _load;
    std::array<std::thread, 2> _threads;
};

} // namespace JobsManagerD
