#pragma once

namespace Testing {

/// Makes one call that changes the filesystem, writes or syncs a file, or lists or copies, fail with EIO: the
/// `number`th of this process from the construction on, counted from 1. Counting ends with it.
class FailingFilesystem {
public:
    explicit FailingFilesystem(int number);
    FailingFilesystem(const FailingFilesystem&) = delete;
    FailingFilesystem& operator=(const FailingFilesystem&) = delete;
    ~FailingFilesystem();

    /// Whether it came to that call.
    bool HasFailed() const;
};

} // namespace Testing
