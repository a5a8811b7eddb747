#pragma once

#include <chrono>
#include <mutex>

// Locks that the compiler checks. With Clang's -Wthread-safety, what is `GUARDED_BY` a mutex is touched only where it
// is held, and a function that `REQUIRES` one is called only there; other compilers see plain locks.
//
// The analysis looks at one function at a time: it does not follow a lambda into its caller, nor a lock that is moved.
// There, `AssertHeld()` states what the surroundings guarantee, and std::unique_lock<Locks::Mutex> locks unchecked.

#if defined(__clang__)
#define TARN_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define TARN_THREAD_SAFETY(attribute)
#endif

#define CAPABILITY(name) TARN_THREAD_SAFETY(capability(name))
#define SCOPED_CAPABILITY TARN_THREAD_SAFETY(scoped_lockable)
/// The member may be touched only with the mutex held; of a pointer, what it points to.
#define GUARDED_BY(mutex) TARN_THREAD_SAFETY(guarded_by(mutex))
#define PT_GUARDED_BY(mutex) TARN_THREAD_SAFETY(pt_guarded_by(mutex))
/// Lock order: this mutex is taken before, or after, those.
#define ACQUIRED_BEFORE(...) TARN_THREAD_SAFETY(acquired_before(__VA_ARGS__))
#define ACQUIRED_AFTER(...) TARN_THREAD_SAFETY(acquired_after(__VA_ARGS__))
/// The caller holds the mutex, or must not hold it.
#define REQUIRES(...) TARN_THREAD_SAFETY(requires_capability(__VA_ARGS__))
#define EXCLUDES(...) TARN_THREAD_SAFETY(locks_excluded(__VA_ARGS__))
/// The function takes or gives back the mutex; TRY_ACQUIRE when its result is the first argument.
#define ACQUIRE(...) TARN_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define RELEASE(...) TARN_THREAD_SAFETY(release_capability(__VA_ARGS__))
#define TRY_ACQUIRE(...) TARN_THREAD_SAFETY(try_acquire_capability(__VA_ARGS__))
#define ASSERT_CAPABILITY(mutex) TARN_THREAD_SAFETY(assert_capability(mutex))
#define RETURN_CAPABILITY(mutex) TARN_THREAD_SAFETY(lock_returned(mutex))
/// For the few functions that the analysis cannot follow. Each says why.
#define NO_THREAD_SAFETY_ANALYSIS TARN_THREAD_SAFETY(no_thread_safety_analysis)

namespace Locks {

/// A mutex in the sense of the standard library: std::unique_lock and std::condition_variable_any take it too.
class CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() ACQUIRE() { _mutex.lock(); }
    void unlock() RELEASE() { _mutex.unlock(); }
    bool try_lock() TRY_ACQUIRE(true) { return _mutex.try_lock(); }
    /// Tells the analysis, and checks nothing.
    void AssertHeld() const ASSERT_CAPABILITY(this) {}

private:
    std::mutex _mutex;
};

/// A mutex that a caller can give up waiting for.
class CAPABILITY("mutex") TimedMutex {
public:
    TimedMutex() = default;
    TimedMutex(const TimedMutex&) = delete;
    TimedMutex& operator=(const TimedMutex&) = delete;

    void lock() ACQUIRE() { _mutex.lock(); }
    void unlock() RELEASE() { _mutex.unlock(); }
    bool try_lock() TRY_ACQUIRE(true) { return _mutex.try_lock(); }
    /// False when the mutex was not to be had in that time. A lock that was had goes into
    /// `LockGuard lock(mutex, std::adopt_lock)`.
    bool TryLockFor(std::chrono::milliseconds patience) TRY_ACQUIRE(true) {
#if defined(__SANITIZE_THREAD__)
        // The sanitizer does not see a lock by the steady clock, and takes what it guards for a race.
        return _mutex.try_lock_until(std::chrono::system_clock::now() + patience);
#else
        return _mutex.try_lock_for(patience);
#endif
    }
    void AssertHeld() const ASSERT_CAPABILITY(this) {}

private:
    std::timed_mutex _mutex;
};

/// Holds a mutex for the length of a scope.
template <typename AnyMutex>
class SCOPED_CAPABILITY LockGuard {
public:
    explicit LockGuard(AnyMutex& mutex) ACQUIRE(mutex) : _mutex(mutex) { _mutex.lock(); }
    /// Takes over a lock that the caller has.
    LockGuard(AnyMutex& mutex, std::adopt_lock_t) REQUIRES(mutex) : _mutex(mutex) {}
    LockGuard(const LockGuard&) = delete;
    LockGuard& operator=(const LockGuard&) = delete;
    ~LockGuard() RELEASE() { _mutex.unlock(); }

private:
    AnyMutex& _mutex;
};

/// Opens a lock that the caller has for the length of a scope.
template <typename AnyMutex>
class SCOPED_CAPABILITY Unlocked {
public:
    explicit Unlocked(AnyMutex& mutex) RELEASE(mutex) : _mutex(mutex) { _mutex.unlock(); }
    Unlocked(const Unlocked&) = delete;
    Unlocked& operator=(const Unlocked&) = delete;
    ~Unlocked() RELEASE() { _mutex.lock(); }

private:
    AnyMutex& _mutex;
};

} // namespace Locks
