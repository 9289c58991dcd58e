#include "writer.hpp"

#include "format.hpp"

#include <cstdint>

namespace ecu::kova::logging {

namespace {

timespec wall_clock()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now;
}

} // namespace

Writer& writer()
{
    static auto* const instance = new Writer; // leaked on purpose, see there
    return *instance;
}

void Writer::write(Level level, const std::string& module, std::string_view raw)
{
    const threads::MutexLock lock(mutex_);
    write_deferred_records();
    write_record(wall_clock(), level, module, raw);
}

void Writer::write_deferred()
{
    const threads::MutexLock lock(mutex_);
    write_deferred_records();
}

void Writer::divert(Diversion diversion, void* context)
{
    const threads::MutexLock lock(mutex_);
    diversion_ = diversion;
    diversion_context_ = context;
}

void Writer::write_record(const timespec& time, Level level, const std::string& module, std::string_view raw)
{
    const std::string text = escaped(raw);
    if (diversion_ != nullptr) {
        diversion_(diversion_context_, level, module, text);
        return;
    }
    switch (mode_.load()) {
    case LogMode::SYSLOG:
        syslog_.write(time, level, module, text);
        break;
    case LogMode::STDOUT:
        stdout_.write(time, stream_line(time, level, module, text));
        break;
    case LogMode::STDERR:
        stderr_.write(time, stream_line(time, level, module, text));
        break;
    }
}

void Writer::write_deferred_records()
{
    if (!deferred_.any()) {
        return;
    }
    std::uint64_t lost = 0;
    for (const auto& record : deferred_.take(lost)) {
        write_record(record.time, record.level, record.module->name(), record.text);
    }
    if (lost != 0) {
        write_record(wall_clock(), Level::WARNING, OWN_NAME,
                     std::to_string(lost) + " records of signal handlers were lost");
    }
}

} // namespace ecu::kova::logging
