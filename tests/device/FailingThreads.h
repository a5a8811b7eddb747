#pragma once

namespace Testing {

/// As long as this lives, the system has only so many threads more to give to this process.
class FailingThreads {
public:
    explicit FailingThreads(int threadsLeft);
    FailingThreads(const FailingThreads&) = delete;
    FailingThreads& operator=(const FailingThreads&) = delete;
    ~FailingThreads();
};

} // namespace Testing
