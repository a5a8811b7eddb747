#pragma once

#include <cstddef>
#include <cstdint>
#include <sys/types.h>

struct statfs64;

namespace JobsManagerD {

/// The system calls at the filesystem edge that a test cannot have for real (a FAT card, a failing sync, a slow card)
/// and therefore replaces, or counts. Each has the contract of the call it is named after, `errno` included. Replace
/// them only while no other thread runs.
struct SystemCalls {
    int (*getFatAttributes)(int descriptor, uint32_t* attributes);
    int (*setFatAttributes)(int descriptor, const uint32_t* attributes);
    int (*statFilesystem)(const char* path, struct statfs64* result);
    int (*openAt)(int folder, const char* path, int flags, unsigned mode);
    /// getdents64
    ssize_t (*list)(int folder, void* entries, size_t size);
    ssize_t (*read)(int descriptor, void* to, size_t size);
    ssize_t (*write)(int descriptor, const void* from, size_t size);
    int (*makeFolder)(int folder, const char* path, unsigned mode);
    int (*rename)(const char* from, const char* to);
    int (*remove)(const char* path);
    int (*sync)(int descriptor);
    int (*syncFilesystem)(int descriptor);
};

/// The calls of the kernel; the start value of `systemCalls`.
extern const SystemCalls kernelCalls;

extern SystemCalls systemCalls;

} // namespace JobsManagerD
