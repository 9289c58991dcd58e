#include "record/line_writer.hpp"

#include <condition_variable>
#include <deque>
#include <system_error>
#include <thread>
#include <threads/mutex.hpp>
#include <utility>

using namespace std::chrono_literals;

namespace {

constexpr auto LAST_WORDS = 2s; // for the disk at the end

} // namespace

struct LineWriter::Shared {
    explicit Shared(Settings given) : settings(std::move(given)), file(settings.file) {}

    void run();
    void append(const std::deque<std::string>& lines, std::uint64_t dropped);

    const Settings settings;

    threads::Mutex mutex;
    std::condition_variable changed;
    std::deque<std::string> lines THREADS_GUARDED_BY(mutex);
    std::uint64_t dropped THREADS_GUARDED_BY(mutex) = 0; // since the last append
    bool running THREADS_GUARDED_BY(mutex) = false;      // the thread
    bool busy THREADS_GUARDED_BY(mutex) = false;         // with the file
    bool ending THREADS_GUARDED_BY(mutex) = false;

    // The thread only.
    LineFile file;
    std::uint64_t lost = 0; // because the file cannot be written
    bool failing = false;
};

void LineWriter::Shared::run()
{
    threads::MutexLock lock(mutex);
    while (true) {
        while (lines.empty() && !ending) {
            lock.wait(changed);
        }
        if (lines.empty()) {
            break;
        }
        std::deque<std::string> batch;
        batch.swap(lines);
        const auto missing = std::exchange(dropped, 0);
        busy = true;
        lock.unlock();
        append(batch, missing);
        lock.lock();
        busy = false;
        changed.notify_all();
    }
    running = false;
    changed.notify_all();
}

void LineWriter::Shared::append(const std::deque<std::string>& batch, std::uint64_t missing)
{
    std::string text;
    if (missing + lost > 0) {
        text = "# " + std::to_string(missing + lost) + " lines are missing here\n";
    }
    for (const auto& line : batch) {
        text += line + '\n';
    }
    if (const auto wrong = file.append(text)) {
        lost += missing + batch.size();
        if (!std::exchange(failing, true)) {
            settings.log.warning(settings.name, " cannot be written (", *wrong,
                                 "); celld goes on without, and tries again with each line");
        }
        return;
    }
    if (std::exchange(failing, false)) {
        settings.log.notice(settings.name, " is written again, ", lost, " lines were lost");
    }
    lost = 0;
}

LineWriter::LineWriter(Settings settings) : shared_(std::make_shared<Shared>(std::move(settings))) {}

LineWriter::~LineWriter()
{
    threads::MutexLock lock(shared_->mutex);
    shared_->ending = true;
    shared_->changed.notify_all();
    const auto deadline = std::chrono::steady_clock::now() + LAST_WORDS; // of a real disk
    while (shared_->running && lock.wait_until(shared_->changed, deadline)) {
    }
}

void LineWriter::write(std::string line)
{
    threads::MutexLock lock(shared_->mutex);
    if (shared_->lines.size() >= shared_->settings.backlog) {
        ++shared_->dropped;
        return;
    }
    if (!shared_->running) {
        try {
            std::thread([shared = shared_] { shared->run(); }).detach();
            shared_->running = true;
        } catch (const std::system_error&) { // tried again with the next line
            ++shared_->dropped;
            return;
        }
    }
    shared_->lines.push_back(std::move(line));
    lock.unlock();
    shared_->changed.notify_all();
}

bool LineWriter::flush(std::chrono::milliseconds patience)
{
    threads::MutexLock lock(shared_->mutex);
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (shared_->running && (shared_->busy || !shared_->lines.empty())) {
        if (!lock.wait_until(shared_->changed, deadline)) {
            return false;
        }
    }
    return true;
}
