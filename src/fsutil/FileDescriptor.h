#pragma once

#include <string>
#include <sys/types.h>
#include <utility>

namespace JobsManagerD {

/// Owns one file descriptor.
class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor = -1) : _descriptor(descriptor) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor(FileDescriptor&& other) noexcept : _descriptor(other.Release()) {}
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() { Close(); }

    explicit operator bool() const { return _descriptor >= 0; }
    int Get() const { return _descriptor; }
    /// Gives the ownership away.
    int Release() { return std::exchange(_descriptor, -1); }

    /// False when the kernel reports an error; the descriptor is gone in either case.
    bool Close();

private:
    int _descriptor;
};

/// `open` that neither waits for the other end of a FIFO nor passes the descriptor on to a child process.
int OpenWithoutWaiting(const std::string& path, int flags, unsigned mode = 0);

/// Far above the longest job file, in bytes: a card may hold files that are larger than the memory.
constexpr size_t longestFile = 64 * 1024 * 1024;

enum class FileReading {
    whole,
    /// It cannot be opened, or is no regular file.
    unopenable,
    /// It was opened, and cannot be read to its end.
    unreadable,
    tooLong,
};

/// Reads a whole regular file of at most `longest` bytes. A symbolic link is not followed. The text keeps its storage
/// from call to call.
FileReading ReadFile(const std::string& path, std::string& contents, size_t longest = longestFile);

/// The same where it does not matter why a file cannot be had. One that is too long is logged.
bool ReadRegularFile(const std::string& path, std::string& contents);

/// Writes all of `contents`, in as many writes as it takes. False as soon as one fails; `errno` tells why.
bool WriteAll(int descriptor, const std::string& contents);

} // namespace JobsManagerD
