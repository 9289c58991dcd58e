// Makes a program's time pass faster: a library to preload (ld.so(8)) into unchanged programs. Every clock
// runs FAST_TIME times as fast, and every wait with a time limit ends as much sooner. Programs that share the
// two environment variables share one time: the first sets FAST_TIME_ORIGIN, those that it starts inherit it.
//
// In use here: the clocks, sleeps, poll(2) and its kin, condition variables (of either clock, std::future
// included, which waits by futex(2)), timed mutexes, semaphores. What the kernel times by itself (a socket's
// time-outs, timerfd, TCP) keeps its own time.

#include <cerrno>
#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <dlfcn.h>
#include <linux/futex.h>
#include <poll.h>
#include <pthread.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/epoll.h>
#include <sys/select.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

namespace {

using Nanoseconds = std::int64_t;
constexpr Nanoseconds SECOND = 1'000'000'000;

/// The C library's own. Condition variables have an older version beside the default one, which dlsym(3)
/// finds.
template <class Function>
Function next(const char* name, const char* version = nullptr)
{
    void* found = version != nullptr ? dlvsym(RTLD_NEXT, name, version) : nullptr;
    if (found == nullptr) {
        found = dlsym(RTLD_NEXT, name);
    }
    if (found == nullptr) {
        std::abort();
    }
    return reinterpret_cast<Function>(found);
}

#define NEXT(name)                                                                                           \
    (*[] {                                                                                                   \
        static const auto function = next<decltype(&(name))>(#name);                                         \
        return function;                                                                                     \
    }())

int now_of(clockid_t clock, timespec* time)
{
    return NEXT(clock_gettime)(clock, time);
}

Nanoseconds of(const timespec& time)
{
    return time.tv_sec * SECOND + time.tv_nsec;
}
timespec timespec_of(Nanoseconds time)
{
    time = time < 0 ? 0 : time;
    return {static_cast<time_t>(time / SECOND), static_cast<long>(time % SECOND)};
}

/// A number without a sign, and where the text goes on. Before main() a sanitizer's allocator asks for the
/// time: nothing here may allocate.
Nanoseconds number(const char*& text)
{
    Nanoseconds value = 0;
    for (; *text >= '0' && *text <= '9' && value < INT64_MAX / 10 - 1; ++text) {
        value = value * 10 + (*text - '0');
    }
    return value;
}

/// How fast, and since when, by the two clocks whose readings are compared between programs.
struct Pace {
    Nanoseconds factor = 1;
    Nanoseconds steady = 0;
    Nanoseconds wall = 0;

    Pace()
    {
        timespec time{};
        now_of(CLOCK_MONOTONIC, &time);
        steady = of(time);
        now_of(CLOCK_REALTIME, &time);
        wall = of(time);
        // NOLINTBEGIN(concurrency-mt-unsafe): before main
        if (const char* text = std::getenv("FAST_TIME")) {
            const auto wanted = number(text);
            factor = wanted >= 1 && wanted <= 100 ? wanted : 1;
        }
        if (const char* text = std::getenv("FAST_TIME_ORIGIN")) {
            steady = number(text);
            text += *text == ',' ? 1 : 0;
            wall = number(text);
        }
        // NOLINTEND(concurrency-mt-unsafe)
    }
};

const Pace& pace()
{
    static const Pace PACE;
    return PACE;
}

/// Where a clock's fast time began; -1 for one that measures no passing time (of the processor).
Nanoseconds origin_of(clockid_t clock)
{
    switch (clock) {
    case CLOCK_MONOTONIC:
    case CLOCK_MONOTONIC_RAW:
    case CLOCK_MONOTONIC_COARSE:
    case CLOCK_BOOTTIME:
        return pace().steady;
    case CLOCK_REALTIME:
    case CLOCK_REALTIME_COARSE:
        return pace().wall;
    default:
        return -1;
    }
}

timespec fast(clockid_t clock, const timespec& real)
{
    const auto origin = origin_of(clock);
    return origin < 0 ? real : timespec_of(origin + (of(real) - origin) * pace().factor);
}
/// A deadline as the kernel is to take it. Rounded up: nobody wakes too soon.
timespec real(clockid_t clock, const timespec& fast)
{
    const auto origin = origin_of(clock);
    const auto passed = of(fast) - origin;
    return origin < 0 || passed < 0 ? fast : timespec_of(origin + passed / pace().factor + 1);
}
timespec real_span(const timespec& fast)
{
    return timespec_of((of(fast) + pace().factor - 1) / pace().factor);
}
timespec real_span_ms(int milliseconds)
{
    return timespec_of((milliseconds * (SECOND / 1000) + pace().factor - 1) / pace().factor);
}

} // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept
{
    const int result = now_of(clock, time);
    if (result == 0) {
        *time = fast(clock, *time);
    }
    return result;
}

time_t time(time_t* result) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (result != nullptr) {
        *result = now.tv_sec;
    }
    return now.tv_sec;
}

int gettimeofday(timeval* time, void*) noexcept
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    *time = {now.tv_sec, static_cast<suseconds_t>(now.tv_nsec / 1000)};
    return 0;
}

int clock_nanosleep(clockid_t clock, int flags, const timespec* wanted, timespec* left)
{
    const timespec scaled = (flags & TIMER_ABSTIME) != 0 ? real(clock, *wanted) : real_span(*wanted);
    const int result = NEXT(clock_nanosleep)(clock, flags, &scaled, left);
    if (result == EINTR && left != nullptr && (flags & TIMER_ABSTIME) == 0) {
        *left = timespec_of(of(*left) * pace().factor);
    }
    return result;
}

int nanosleep(const timespec* wanted, timespec* left)
{
    const int result = clock_nanosleep(CLOCK_MONOTONIC, 0, wanted, left);
    errno = result != 0 ? result : errno;
    return result != 0 ? -1 : 0;
}

int usleep(useconds_t microseconds)
{
    const timespec wanted = timespec_of(static_cast<Nanoseconds>(microseconds) * 1000);
    return nanosleep(&wanted, nullptr);
}

unsigned int sleep(unsigned int seconds)
{
    const timespec wanted = timespec_of(static_cast<Nanoseconds>(seconds) * SECOND);
    timespec left{};
    return nanosleep(&wanted, &left) == 0 ? 0 : static_cast<unsigned int>(left.tv_sec);
}

int ppoll(pollfd* descriptors, nfds_t count, const timespec* timeout, const sigset_t* mask)
{
    timespec scaled{};
    if (timeout != nullptr) {
        scaled = real_span(*timeout);
    }
    return NEXT(ppoll)(descriptors, count, timeout != nullptr ? &scaled : nullptr, mask);
}

int poll(pollfd* descriptors, nfds_t count, int timeout)
{
    const timespec scaled = real_span_ms(timeout);
    return NEXT(ppoll)(descriptors, count, timeout < 0 ? nullptr : &scaled, nullptr);
}

int pselect(int count, fd_set* readable, fd_set* writable, fd_set* failed, const timespec* timeout,
            const sigset_t* mask)
{
    timespec scaled{};
    if (timeout != nullptr) {
        scaled = real_span(*timeout);
    }
    return NEXT(pselect)(count, readable, writable, failed, timeout != nullptr ? &scaled : nullptr, mask);
}

int select(int count, fd_set* readable, fd_set* writable, fd_set* failed, timeval* timeout)
{
    timespec wanted{};
    if (timeout != nullptr) {
        wanted = {timeout->tv_sec, timeout->tv_usec * 1000};
    }
    return pselect(count, readable, writable, failed, timeout != nullptr ? &wanted : nullptr, nullptr);
}

int epoll_pwait(int epoll, epoll_event* events, int count, int timeout, const sigset_t* mask)
{
    const timespec scaled = real_span_ms(timeout);
    return NEXT(epoll_pwait2)(epoll, events, count, timeout < 0 ? nullptr : &scaled, mask);
}

int epoll_wait(int epoll, epoll_event* events, int count, int timeout)
{
    return epoll_pwait(epoll, events, count, timeout, nullptr);
}

int sigtimedwait(const sigset_t* signals, siginfo_t* info, const timespec* timeout)
{
    timespec scaled{};
    if (timeout != nullptr) {
        scaled = real_span(*timeout);
    }
    return NEXT(sigtimedwait)(signals, info, timeout != nullptr ? &scaled : nullptr);
}

int pthread_cond_clockwait(pthread_cond_t* condition, pthread_mutex_t* mutex, clockid_t clock,
                           const timespec* deadline)
{
    const timespec scaled = real(clock, *deadline);
    return NEXT(pthread_cond_clockwait)(condition, mutex, clock, &scaled);
}

/// A condition's clock is private to the C library; nobody here makes one that has not the default clock.
int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline)
{
    static const auto own = next<decltype(&pthread_cond_timedwait)>("pthread_cond_timedwait", "GLIBC_2.3.2");
    const timespec scaled = real(CLOCK_REALTIME, *deadline);
    return own(condition, mutex, &scaled);
}

int pthread_mutex_clocklock(pthread_mutex_t* mutex, clockid_t clock, const timespec* deadline) noexcept
{
    const timespec scaled = real(clock, *deadline);
    return NEXT(pthread_mutex_clocklock)(mutex, clock, &scaled);
}

int pthread_mutex_timedlock(pthread_mutex_t* mutex, const timespec* deadline) noexcept
{
    const timespec scaled = real(CLOCK_REALTIME, *deadline);
    return NEXT(pthread_mutex_timedlock)(mutex, &scaled);
}

int sem_timedwait(sem_t* semaphore, const timespec* deadline)
{
    const timespec scaled = real(CLOCK_REALTIME, *deadline);
    return NEXT(sem_timedwait)(semaphore, &scaled);
}

int sem_clockwait(sem_t* semaphore, clockid_t clock, const timespec* deadline)
{
    const timespec scaled = real(clock, *deadline);
    return NEXT(sem_clockwait)(semaphore, clock, &scaled);
}

/// The C++ library waits for a std::future by futex(2): a span with FUTEX_WAIT, a deadline with
/// FUTEX_WAIT_BITSET.
long syscall(long number, ...) noexcept
{
    va_list list;
    va_start(list, number);
    long arguments[6];
    for (long& argument : arguments) {
        argument = va_arg(list, long);
    }
    va_end(list);
    timespec scaled{};
    if (number == SYS_futex && arguments[3] != 0) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): the kernel's way of passing one
        const auto& given = *reinterpret_cast<const timespec*>(arguments[3]);
        const long operation = arguments[1] & FUTEX_CMD_MASK;
        if (operation == FUTEX_WAIT) {
            scaled = real_span(given);
            arguments[3] = reinterpret_cast<long>(&scaled);
        } else if (operation == FUTEX_WAIT_BITSET) {
            const bool wall = (arguments[1] & FUTEX_CLOCK_REALTIME) != 0;
            scaled = real(wall ? CLOCK_REALTIME : CLOCK_MONOTONIC, given);
            arguments[3] = reinterpret_cast<long>(&scaled);
        }
    }
    return NEXT(syscall)(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4],
                         arguments[5]);
}

} // extern "C"
