#include "device/FailingThreads.h"

#include <atomic>
#include <cerrno>
#include <dlfcn.h>
#include <limits>
#include <pthread.h>

namespace {

constexpr int unlimited = std::numeric_limits<int>::max();
std::atomic<int> left{unlimited};

} // namespace

namespace Testing {

FailingThreads::FailingThreads(int threadsLeft) { left = threadsLeft; }
FailingThreads::~FailingThreads() { left = unlimited; }

} // namespace Testing

// Takes the place of the C library's, for the C++ library too.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                              void* argument) noexcept {
    if (left != unlimited && --left < 0)
        return EAGAIN;
    return reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"))(thread, attributes, start,
                                                                                           argument);
}
