#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace JobsManagerD {

/// Loads numbered items on four threads, some ahead, and hands them over on the caller's thread in their order: a card
/// answers several requests at once in little more than the time of one. What is ahead is bounded. Items change hands
/// in batches, since waking a thread costs more than loading an item that the kernel has in memory.
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
            _isStopped = true;
        }
        _changed.notify_all();
        for (std::thread& thread : _threads)
            thread.join();
    }

    /// The next item, to be called at most once for each. Rethrows what loading it threw.
    Result Next() {
        if (_handedOver == _current.size())
            _TakeBatch();
        Item& item = _current[_handedOver++];
        if (item.exception)
            std::rethrow_exception(item.exception);
        return std::move(item.result);
    }

private:
    struct Item {
        Result result{};
        std::exception_ptr exception;
    };
    using Batch = std::vector<Item>;
    static constexpr size_t batchSize = 16;

    void _TakeBatch() {
        std::unique_lock lock(_mutex);
        Batch& batch = _batches[_taken % _batches.size()];
        _changed.wait(lock, [&batch] { return !batch.empty(); });
        _current = std::move(batch);
        batch.clear();
        _handedOver = 0;
        ++_taken;
        lock.unlock();
        _changed.notify_all();
    }

    void _Run() {
        std::unique_lock lock(_mutex);
        while (true) {
            _changed.wait(lock, [this] { return _IsOver() || _begun < _taken + _batches.size(); });
            if (_IsOver())
                return;
            const size_t number = _begun++;
            lock.unlock();
            Batch loaded = _LoadBatch(number * batchSize);
            lock.lock();
            _batches[number % _batches.size()] = std::move(loaded);
            if (number == _taken)
                _changed.notify_all();
        }
    }

    bool _IsOver() const { return _isStopped || _begun * batchSize >= _count; }

    Batch _LoadBatch(size_t first) const {
        Batch batch;
        for (size_t number = first; number < std::min(first + batchSize, _count) && !_isStopped; ++number)
            batch.push_back(_LoadItem(number));
        return batch;
    }

    Item _LoadItem(size_t number) const {
        try {
            return {_load(number), nullptr};
        } catch (...) {
            return {Result{}, std::current_exception()};
        }
    }

    const size_t _count;
    const Load _load;
    std::atomic<bool> _isStopped{false};

    std::mutex _mutex; // guards the four below; the two counters are of batches
    std::condition_variable _changed;
    size_t _begun = 0;
    size_t _taken = 0;
    std::array<Batch, 8> _batches;

    // The caller's own.
    Batch _current;
    size_t _handedOver = 0;

    std::array<std::thread, 4> _threads;
};

} // namespace JobsManagerD
