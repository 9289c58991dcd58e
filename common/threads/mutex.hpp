#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

/// Clang's thread-safety analysis (clang's documentation, ThreadSafetyAnalysis): what a lock guards is
/// written at the field, and a clang build (presets "asan" and "tsan") refuses an access without the lock.
/// GCC sees nothing of it.
#if defined(__clang__)
#define THREADS_ATTRIBUTE(attribute) __attribute__((attribute))
#else
#define THREADS_ATTRIBUTE(attribute)
#endif
#define THREADS_GUARDED_BY(lock) THREADS_ATTRIBUTE(guarded_by(lock))
#define THREADS_REQUIRES(lock) THREADS_ATTRIBUTE(requires_capability(lock))

namespace threads {

/// A std::mutex that the analysis knows; the standard library's own has no annotations.
class THREADS_ATTRIBUTE(capability("mutex")) Mutex {
public:
    Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

private:
    friend class MutexLock;
    std::mutex mutex_;
};

/// Holds a Mutex for a scope. A condition is waited for in a loop around `wait`: the analysis does not look
/// into the predicate of a standard wait.
class THREADS_ATTRIBUTE(scoped_lockable) MutexLock {
public:
    using time_point = std::chrono::steady_clock::time_point;

    explicit MutexLock(Mutex& mutex) THREADS_ATTRIBUTE(acquire_capability(mutex)) : lock_(mutex.mutex_) {}
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;
    ~MutexLock() THREADS_ATTRIBUTE(release_capability()) {} // NOLINT: clang wants a body to annotate

    void unlock() THREADS_ATTRIBUTE(release_capability()) { lock_.unlock(); }
    void lock() THREADS_ATTRIBUTE(acquire_capability()) { lock_.lock(); }

    void wait(std::condition_variable& condition) { condition.wait(lock_); }
    /// False when `deadline` came first.
    bool wait_until(std::condition_variable& condition, time_point deadline)
    {
        return condition.wait_until(lock_, deadline) == std::cv_status::no_timeout;
    }
    /// For who waits with a standard lock, and has it locked again when the wait is over.
    std::unique_lock<std::mutex>& standard() { return lock_; }

private:
    std::unique_lock<std::mutex> lock_;
};

} // namespace threads
