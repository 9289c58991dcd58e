#include "deferred.hpp"
#include "sink.hpp"

#include <ecu/kova/logging.hpp>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <strings.h>
#include <unistd.h>

namespace ecu::kova::logging {

namespace {

constexpr Level DEFAULT_LEVEL = Level::NOTICE;
constexpr std::array<const char*, 8> LEVEL_NAMES{"EMERG",   "ALERT",  "CRITICAL", "ERROR",
                                                 "WARNING", "NOTICE", "INFO",     "DEBUG"};

/// Everything the process shares about logging. Never destroyed: threads and static objects may log to the
/// last.
struct Shared {
    std::atomic<Level> level{DEFAULT_LEVEL};
    std::atomic<LogMode> mode{LogMode::SYSLOG};
    DeferredRecords deferred;

    std::mutex registry_mutex;
    std::map<std::string, std::unique_ptr<Module>>
        modules; // guarded by registry_mutex, as are the next three
    bool narrowed = false;
    std::set<std::string> named;    // enabled since the narrowing
    std::set<std::string> silenced; // disabled while everything else is enabled

    std::mutex writer_mutex;
    Tap tap = nullptr; // guarded by writer_mutex
    void* tap_context = nullptr;

    bool passes(const std::string& name) const
    {
        return narrowed ? named.count(name) != 0 : silenced.count(name) == 0;
    }
};

Shared& shared()
{
    static auto* const instance = new Shared; // leaked on purpose, see there
    return *instance;
}

timespec wall_clock()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now;
}

/// With writer_mutex held.
void write_record(const timespec& time, Level level, const std::string& module, std::string_view raw)
{
    auto& own = shared();
    const std::string text = escaped(raw);
    if (own.tap != nullptr) {
        own.tap(own.tap_context, level, module, text);
        return;
    }
    switch (own.mode.load()) {
    case LogMode::SYSLOG:
        write_to_syslog(level, module, text);
        break;
    case LogMode::STDOUT:
        write_to_stream(STDOUT_FILENO, stream_line(time, level, module, text));
        break;
    case LogMode::STDERR:
        write_to_stream(STDERR_FILENO, stream_line(time, level, module, text));
        break;
    }
}

/// With writer_mutex held.
void write_deferred_records()
{
    auto& own = shared();
    if (!own.deferred.any()) {
        return;
    }
    std::uint64_t lost = 0;
    for (const auto& record : own.deferred.take(lost)) {
        write_record(record.time, record.level, record.module->name(), record.text);
    }
    if (lost != 0) {
        write_record(wall_clock(), Level::WARNING, "kova.logging",
                     std::to_string(lost) + " records of signal handlers were lost");
    }
}

std::optional<Level> level_of(const std::string& name)
{
    const auto* const found =
        std::find_if(LEVEL_NAMES.begin(), LEVEL_NAMES.end(),
                     [&](const char* candidate) { return strcasecmp(candidate, name.c_str()) == 0; });
    if (found == LEVEL_NAMES.end()) {
        return std::nullopt;
    }
    return static_cast<Level>(found - LEVEL_NAMES.begin());
}

} // namespace

Module::Module(std::string name) : name_(std::move(name)) {}

bool Module::wants(Level level) const
{
    if (level > shared().level.load(std::memory_order_relaxed)) {
        return false;
    }
    return level <= Level::NOTICE || enabled_.load(std::memory_order_relaxed);
}

void Module::emit(Level level, std::string_view text) const
{
    const std::lock_guard lock(shared().writer_mutex);
    write_deferred_records();
    write_record(wall_clock(), level, name_, text);
}

void Module::defer(Level level, const char* text) const noexcept
{
    if (wants(level)) {
        shared().deferred.keep(*this, level, text);
    }
}

Module& module(const std::string& name)
{
    auto& own = shared();
    const std::lock_guard lock(own.registry_mutex);
    auto& place = own.modules[name];
    if (!place) {
        place = std::make_unique<Module>(name);
        place->enabled_ = own.passes(name);
    }
    return *place;
}

void configure_logging(const std::string& level_name)
{
    if (const auto level = level_of(level_name)) {
        shared().level = *level;
    } else {
        module("kova.logging")
            .warning("Unknown log level '", level_name, "', keeping ", to_str(get_log_level()));
    }
}

void enable(const std::string& module_name, bool enabled)
{
    auto& own = shared();
    const std::lock_guard lock(own.registry_mutex);
    if (enabled) {
        own.narrowed = true;
        own.named.insert(module_name);
        own.silenced.erase(module_name);
    } else {
        own.named.erase(module_name);
        own.silenced.insert(module_name);
    }
    for (const auto& [name, known] : own.modules) {
        known->enabled_ = own.passes(name);
    }
}

void enable_all()
{
    auto& own = shared();
    const std::lock_guard lock(own.registry_mutex);
    own.narrowed = false;
    own.named.clear();
    own.silenced.clear();
    for (const auto& [name, known] : own.modules) {
        known->enabled_ = true;
    }
}

void set_log_mode(LogMode mode)
{
    shared().mode = mode;
}

LogMode get_log_mode()
{
    return shared().mode;
}

Level get_log_level()
{
    return shared().level;
}

const char* get_default_log_level_name()
{
    return to_str(DEFAULT_LEVEL);
}

const char* to_str(Level level)
{
    const auto index = static_cast<std::size_t>(level);
    return index < LEVEL_NAMES.size() ? LEVEL_NAMES[index] : "UNKNOWN";
}

void write_deferred()
{
    const std::lock_guard lock(shared().writer_mutex);
    write_deferred_records();
}

void set_tap(Tap tap, void* context)
{
    const std::lock_guard lock(shared().writer_mutex);
    shared().tap = tap;
    shared().tap_context = context;
}

} // namespace ecu::kova::logging
