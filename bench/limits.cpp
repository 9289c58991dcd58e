// What nobody can do better: the same line, asked or read by as little as there can be. No library, no
// allocation, no text; what a figure of the daemon is held against.
//
//   limits direct DEVICE N       N commands in a row, asked and answered by one thread
//   limits handover DEVICE N     the same, each handed over by a second thread, and its answer handed back
//   limits reader DEVICE N       reads N lines, splitting the stream at CR LF
//   limits idle DEVICE S         for S seconds: a poll of 100 ms, and four commands each two seconds
//
// Prints "ready" first, and at the end what it used: processor seconds and switches.

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr char COMMAND[] = "AT+CSQ\r\n";
constexpr int POLL_MS = 100;
constexpr int COMMANDS_A_BURST = 4;
constexpr int BURST_S = 2;

int line = -1;

[[noreturn]] void die(const char* what)
{
    std::perror(what);
    std::exit(EXIT_FAILURE);
}

bool is_answered(const char* text, std::size_t length)
{
    return length >= 4 && std::memcmp(text + length - 4, "OK\r\n", 4) == 0;
}

void put_command()
{
    if (::write(line, COMMAND, sizeof COMMAND - 1) < 0) {
        die("write");
    }
}

void await_answer()
{
    char bytes[2048];
    std::size_t length = 0;
    while (!is_answered(bytes, length)) {
        const auto got = ::read(line, bytes + length, sizeof bytes - length);
        if (got <= 0) {
            die("read");
        }
        length += static_cast<std::size_t>(got);
    }
}

void direct(long times)
{
    for (long i = 0; i < times; ++i) {
        put_command();
        await_answer();
    }
}

// --- with a hand-over: a descriptor wakes the line's thread, as it waits for the line too; a condition its
// asker ---

pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t answered = PTHREAD_COND_INITIALIZER;
bool is_over = false;
int order = -1;

void* line_thread(void*)
{
    while (true) {
        pollfd wanted[2] = {{line, POLLIN, 0}, {order, POLLIN, 0}};
        if (::poll(wanted, 2, -1) < 0) {
            die("poll");
        }
        if (wanted[1].revents != 0) {
            eventfd_t count = 0;
            ::eventfd_read(order, &count);
            put_command();
        }
        if (wanted[0].revents != 0) {
            await_answer();
            pthread_mutex_lock(&mutex);
            is_over = true;
            pthread_mutex_unlock(&mutex);
            pthread_cond_signal(&answered);
        }
    }
}

void handover(long times)
{
    order = ::eventfd(0, EFD_CLOEXEC);
    pthread_t thread;
    pthread_create(&thread, nullptr, line_thread, nullptr);
    for (long i = 0; i < times; ++i) {
        ::eventfd_write(order, 1);
        pthread_mutex_lock(&mutex);
        while (!is_over) {
            pthread_cond_wait(&answered, &mutex);
        }
        is_over = false;
        pthread_mutex_unlock(&mutex);
    }
}

void reader(long lines)
{
    char bytes[2048];
    std::size_t length = 0;
    while (lines > 0) {
        const auto got = ::read(line, bytes + length, sizeof bytes - length);
        if (got <= 0) {
            die("read");
        }
        length += static_cast<std::size_t>(got);
        const char* begin = bytes;
        const char* const end = bytes + length;
        while (const void* found = ::memmem(begin, static_cast<std::size_t>(end - begin), "\r\n", 2)) {
            const auto* const stop = static_cast<const char*>(found);
            lines -= stop != begin ? 1 : 0; // an empty one stands in front of each report
            begin = stop + 2;
        }
        length = static_cast<std::size_t>(end - begin);
        std::memmove(bytes, begin, length);
    }
}

void idle(long seconds)
{
    for (long second = 0; second < seconds; second += BURST_S) {
        direct(COMMANDS_A_BURST);
        for (int i = 0; i < BURST_S * 1000 / POLL_MS; ++i) {
            pollfd wanted{line, POLLIN, 0};
            ::poll(&wanted, 1, POLL_MS);
        }
    }
}

void tell_usage()
{
    rusage used{};
    ::getrusage(RUSAGE_SELF, &used);
    timespec cpu{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &cpu);
    std::printf("cpu %ld.%09ld switches %ld\n", cpu.tv_sec, cpu.tv_nsec, used.ru_nvcsw + used.ru_nivcsw);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: limits direct|handover|reader|idle DEVICE NUMBER\n");
        return EXIT_FAILURE;
    }
    const char* const what = argv[1];
    const long number = std::atol(argv[3]);
    line = ::open(argv[2], O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (line < 0) {
        die(argv[2]);
    }
    std::printf("ready\n");
    std::fflush(stdout);
    if (std::strcmp(what, "direct") == 0) {
        direct(number);
    } else if (std::strcmp(what, "handover") == 0) {
        handover(number);
    } else if (std::strcmp(what, "reader") == 0) {
        reader(number);
    } else if (std::strcmp(what, "idle") == 0) {
        idle(number);
    } else {
        return EXIT_FAILURE;
    }
    tell_usage();
    return EXIT_SUCCESS;
}
