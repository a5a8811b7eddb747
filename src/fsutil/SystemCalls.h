#pragma once

#include <cstdint>

struct statfs64;

namespace JobsManagerD {

/// The system calls at the filesystem edge that a test cannot have for real (a FAT card, a failing sync) and therefore
/// replaces. Each has the contract of the call it is named after. Replace them only while no other thread runs.
struct SystemCalls {
    int (*getFatAttributes)(int descriptor, uint32_t* attributes);
    int (*setFatAttributes)(int descriptor, const uint32_t* attributes);
    int (*statFilesystem)(const char* path, struct statfs64* result);
    int (*sync)(int descriptor);
};

/// The calls of the kernel; the start value of `systemCalls`.
extern const SystemCalls kernelCalls;

extern SystemCalls systemCalls;

} // namespace JobsManagerD
