// Lock rules the compiler checks: Clang's thread-safety analysis (-Wthread-safety) over a mutex
// type that carries the attributes libstdc++'s std::mutex lacks. Other compilers see plain
// std::mutex and std::lock_guard semantics.
#pragma once

#include <mutex>

#if defined(__clang__)
#define TQ4_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define TQ4_THREAD_ATTRIBUTE(x)
#endif

#define TQ4_CAPABILITY(name)  TQ4_THREAD_ATTRIBUTE(capability(name))
#define TQ4_SCOPED_CAPABILITY TQ4_THREAD_ATTRIBUTE(scoped_lockable)
#define TQ4_GUARDED_BY(lock)  TQ4_THREAD_ATTRIBUTE(guarded_by(lock))
#define TQ4_REQUIRES(...)     TQ4_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define TQ4_EXCLUDES(...)     TQ4_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define TQ4_ACQUIRE(...)      TQ4_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define TQ4_RELEASE(...)      TQ4_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))

namespace tq4::stream {

class TQ4_CAPABILITY("mutex") Mutex {
public:
    void lock() TQ4_ACQUIRE() { mutex_.lock(); }
    void unlock() TQ4_RELEASE() { mutex_.unlock(); }

private:
    std::mutex mutex_;
};

// Holds `mutex` for the scope.
class TQ4_SCOPED_CAPABILITY Locked {
public:
    explicit Locked(Mutex& mutex) TQ4_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~Locked() TQ4_RELEASE() { mutex_.unlock(); }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

private:
    Mutex& mutex_;
};

}  // namespace tq4::stream
