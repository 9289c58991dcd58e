#pragma once

#include <atomic>
#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

/// Leveled log records for syslog or a standard stream. A record on a stream is one line:
/// `<UTC time, ISO 8601 with milliseconds, Z> <LEVEL> <module>: <text>`. Control characters other than the
/// line break are written as \xNN. Every operation may be called from any thread; writing never throws, and
/// waits for a reader that does not read for 100 ms at most: then the record is dropped and counted, and so
/// are those that follow without any wait, until it reads again and is told the count.
namespace ecu::kova::logging {

enum class Level { EMERG, ALERT, CRITICAL, ERROR, WARNING, NOTICE, INFO, DEBUG };

enum class LogMode { SYSLOG = 0, STDOUT = 1, STDERR = 2 };

/// One of the things that a record is put together from, as operator<< writes it: a text, a character, a
/// whole number (true is 1), an enumerator that is one. Refers to a text; lives no longer than the call.
class Part {
public:
    Part(std::string_view text) : kind_(Kind::TEXT), text_(text) {}
    Part(const std::string& text) : Part(std::string_view(text)) {}
    Part(const char* text) : Part(text != nullptr ? std::string_view(text) : std::string_view()) {}
    Part(char character) : kind_(Kind::CHARACTER), signed_(character) {}
    template <std::signed_integral Number>
    Part(Number number) : kind_(Kind::SIGNED), signed_(number)
    {
    }
    template <std::unsigned_integral Number>
    Part(Number number) : kind_(Kind::UNSIGNED), unsigned_(number)
    {
    }
    template <class Enumerator>
    requires std::is_enum_v<Enumerator> && std::is_convertible_v<Enumerator, int> Part(Enumerator value)
        : Part(static_cast<std::underlying_type_t<Enumerator>>(value))
    {
    }

    void append_to(std::string& record) const;

private:
    enum class Kind { TEXT, CHARACTER, SIGNED, UNSIGNED };

    Kind kind_;
    union {
        std::string_view text_;
        std::int64_t signed_;
        std::uint64_t unsigned_;
    };
};

/// The log channel of one source area. Made by `module()`, lives until the process ends.
class Module {
public:
    explicit Module(std::string name);
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    const std::string& name() const { return name_; }

    /// Whether a record of this level would be written; cheap, no lock.
    bool wants(Level level) const;

    /// Writes one record, the parts one behind the other. Nothing is built when it is not
    /// wanted.
    template <class... Parts>
    void write(Level level, const Parts&... parts) const
    {
        if (wants(level)) {
            put_together(level, {Part(parts)...});
        }
    }

    template <class... Parts>
    void emergency(const Parts&... parts) const
    {
        write(Level::EMERG, parts...);
    }
    template <class... Parts>
    void error(const Parts&... parts) const
    {
        write(Level::ERROR, parts...);
    }
    template <class... Parts>
    void warning(const Parts&... parts) const
    {
        write(Level::WARNING, parts...);
    }
    template <class... Parts>
    void notice(const Parts&... parts) const
    {
        write(Level::NOTICE, parts...);
    }
    template <class... Parts>
    void info(const Parts&... parts) const
    {
        write(Level::INFO, parts...);
    }
    template <class... Parts>
    void debug(const Parts&... parts) const
    {
        write(Level::DEBUG, parts...);
    }

    /// For signal handlers: keeps a record without locking or allocating; the next thread that logs, or
    /// `write_deferred()`, writes it. `text` must live for ever (a literal). When more records wait than
    /// there are places the surplus is counted, and the count is written in their stead. Async-signal-safe.
    void defer(Level level, const char* text) const noexcept;

    /// Whether INFO and DEBUG pass; see `logging::enable`, which decides it.
    void enable(bool enabled) { enabled_ = enabled; }

private:
    // One function for all the program's records: a stream of its own at each of them is half of its code.
    void put_together(Level level, std::initializer_list<Part> parts) const;

    std::string name_;
    std::atomic<bool> enabled_{true};
};

/// The module of that name, made at the first call and kept. Safe during static initialisation.
Module& module(const std::string& name);

/// Sets the level by its name ("EMERG" ... "DEBUG", any case). An unknown name is reported at WARNING on
/// "kova.logging", with those known, and changes nothing.
void configure_logging(const std::string& level_name);

/// Narrows INFO and DEBUG to the modules named: the first `enable(name, true)` of the process silences every
/// other module's; NOTICE and above always pass. A name may be enabled before its module exists.
void enable(const std::string& module_name, bool enabled);
void enable_all();

void set_log_mode(LogMode mode);
LogMode get_log_mode();
Level get_log_level();
/// "NOTICE".
const char* get_default_log_level_name();
const char* to_str(Level level);

/// Writes what signal handlers have deferred. Every record written does so first; a process calls it at its
/// end.
void write_deferred();

} // namespace ecu::kova::logging
