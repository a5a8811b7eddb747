#pragma once

#include <atomic>

namespace JobsManagerD {

/// Counts the tasks that run, for the length of a scope. A process that ends while one runs must not tear down what
/// the task still uses.
class RunningTask {
public:
    RunningTask() { ++_count; }
    RunningTask(const RunningTask&) = delete;
    RunningTask& operator=(const RunningTask&) = delete;
    ~RunningTask() { --_count; }

    static bool Any() { return _count > 0; }

private:
    static inline std::atomic<int> _count{0};
};

} // namespace JobsManagerD
