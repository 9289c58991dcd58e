#include "format.hpp"
#include "writer.hpp"

#include <ecu/kova/logging.hpp>

#include <algorithm>
#include <array>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <strings.h>
#include <threads/mutex.hpp>

namespace ecu::kova::logging {

namespace {

constexpr Level DEFAULT_LEVEL = Level::NOTICE;
constexpr std::array<const char*, 8> LEVEL_NAMES{"EMERG",   "ALERT",  "CRITICAL", "ERROR",
                                                 "WARNING", "NOTICE", "INFO",     "DEBUG"};

/// Level and modules of the process. Never destroyed: threads and static objects may log to the last.
class Registry {
public:
    std::atomic<Level> level{DEFAULT_LEVEL};

    Module& module(const std::string& name)
    {
        const threads::MutexLock lock(mutex_);
        auto& place = modules_[name];
        if (!place) {
            place = std::make_unique<Module>(name);
            place->enable(passes(name));
        }
        return *place;
    }

    void enable(const std::string& name, bool enabled)
    {
        const threads::MutexLock lock(mutex_);
        if (enabled) {
            narrowed_ = true;
            named_.insert(name);
            silenced_.erase(name);
        } else {
            named_.erase(name);
            silenced_.insert(name);
        }
        apply();
    }

    void enable_all()
    {
        const threads::MutexLock lock(mutex_);
        narrowed_ = false;
        named_.clear();
        silenced_.clear();
        apply();
    }

private:
    bool passes(const std::string& name) const THREADS_REQUIRES(mutex_)
    {
        return narrowed_ ? named_.count(name) != 0 : silenced_.count(name) == 0;
    }
    void apply() THREADS_REQUIRES(mutex_)
    {
        for (const auto& [name, known] : modules_) {
            known->enable(passes(name));
        }
    }

    threads::Mutex mutex_;
    std::map<std::string, std::unique_ptr<Module>> modules_ THREADS_GUARDED_BY(mutex_);
    bool narrowed_ THREADS_GUARDED_BY(mutex_) = false;
    std::set<std::string> named_ THREADS_GUARDED_BY(mutex_);    // enabled since the narrowing
    std::set<std::string> silenced_ THREADS_GUARDED_BY(mutex_); // disabled while everything else is enabled
};

Registry& registry()
{
    static auto* const instance = new Registry; // leaked on purpose, see there
    return *instance;
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

void Part::append_to(std::string& record) const
{
    switch (kind_) {
    case Kind::TEXT:
        record += text_;
        return;
    case Kind::CHARACTER:
        record += static_cast<char>(signed_);
        return;
    case Kind::SIGNED:
        record += std::to_string(signed_);
        return;
    case Kind::UNSIGNED:
        record += std::to_string(unsigned_);
        return;
    }
}

Module::Module(std::string name) : name_(std::move(name)) {}

bool Module::wants(Level level) const
{
    if (level > registry().level.load(std::memory_order_relaxed)) {
        return false;
    }
    return level <= Level::NOTICE || enabled_.load(std::memory_order_relaxed);
}

void Module::put_together(Level level, std::initializer_list<Part> parts) const
{
    std::string text;
    for (const auto& part : parts) {
        part.append_to(text);
    }
    writer().write(level, name_, text);
}

void Module::defer(Level level, const char* text) const noexcept
{
    if (wants(level)) {
        writer().deferred().keep(*this, level, text);
    }
}

Module& module(const std::string& name)
{
    return registry().module(name);
}

void configure_logging(const std::string& level_name)
{
    if (const auto level = level_of(level_name)) {
        registry().level = *level;
    } else {
        std::string known;
        for (const char* name : LEVEL_NAMES) {
            known += (known.empty() ? "" : ", ") + std::string(name);
        }
        module(OWN_NAME).warning("Unknown log level '", level_name, "', keeping ", to_str(get_log_level()),
                                 "; known are ", known);
    }
}

void enable(const std::string& module_name, bool enabled)
{
    registry().enable(module_name, enabled);
}

void enable_all()
{
    registry().enable_all();
}

void set_log_mode(LogMode mode)
{
    writer().mode(mode);
}

LogMode get_log_mode()
{
    return writer().mode();
}

Level get_log_level()
{
    return registry().level;
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
    writer().write_deferred();
}

} // namespace ecu::kova::logging
