#pragma once

#include "roads.hpp"
#include "support/log_capture.hpp"
#include "support/manual_clock.hpp"
#include "support/scripted_port.hpp"
#include "support/temp_root.hpp"
#include "utils/unique_fd.hpp"

#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

/// What holds in every run whatever happens, looked at with each command, before time passes and after each
/// pass; the module is there only with its supply. What breaks it is kept in words, once a rule. Main thread
/// only, but for the commands of another one, for which that waits.
///
/// - The supply is not taken from a module whose port is open before "+CPWROFF" was written.
/// - Radio silence means supply off, within its bound and until it is over.
/// - No "+CPIN=" on the last attempt.
/// - Commands and records a minute are bounded.
/// - A transition that is refused is not asked for again and again.
class Watch {
public:
    static constexpr int PIN_ATTEMPTS = 3; ///< of a card (ETSI TS 102 221, 9.5)

    Watch(ManualClock& clock, ScriptedPort& module, LogCapture& log, const TempRoot& root);

    /// From now on a run goes the same way each time: whenever a pass is over the daemon's other threads are
    /// waited for. That takes several times as long.
    static void steady() { steady_ = true; }
    /// What time has woken is waited for each time, before more of it passes.
    void await_the_woken();

    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch(); ///< what is watched may live on

    /// Before its answer.
    void command(const AtCommand& command);
    void time_passes();
    void pass_ended();

    /// Run whenever the watch looks on the main thread, also in the middle of a pass.
    void on_look(std::function<void()> action) { on_look_ = std::move(action); }

    void radio_silence(bool ordered);
    /// Its line cannot be written, so that it stays on without the daemon's doing.
    void supply_sticks(bool sticks);
    bool silence_ordered() const { return silence_since_.has_value(); }
    /// What the card would answer.
    void pin_attempts(int left) { pin_attempts_ = left; }
    int pin_attempts() const { return pin_attempts_; }

    /// Settings that the module has been given since it started.
    const std::set<std::string>& settings() const { return settings_; }
    const std::vector<std::string>& broken() const { return broken_; }
    void breaks(const std::string& rule, const std::string& how);

    /// The records from NOTICE up, oldest first.
    const std::string& story() const { return story_; }
    std::size_t resets() const { return resets_; }
    /// All that was seen.
    const Road& road() const { return road_; }

private:
    /// How often something came within the last minute.
    class Rate {
    public:
        std::size_t count(Clock::time_point now);

    private:
        std::deque<Clock::time_point> times_;
    };

    bool supplied() const;
    void look_at_the_supply();
    void read_records();
    std::string unrooted(std::string text) const;
    void note(const std::string& text);

    static inline bool steady_ = false;

    ManualClock& clock_;
    const Clock::time_point beginning_ = clock_.now();
    ScriptedPort& module_;
    LogCapture& log_;
    const std::string root_;
    UniqueFd supply_file_;
    const std::thread::id main_thread_ = std::this_thread::get_id();
    std::function<void()> on_look_;

    bool supply_ = false;
    bool sticks_ = false;
    bool asked_to_end_ = false; ///< "+CPWROFF" since the supply is on
    std::optional<Clock::time_point> silence_since_;
    int pin_attempts_;
    Rate commands_;
    Rate records_;
    int refusals_ = 0;    ///< of one transition in passes one behind the other
    std::string refused_; ///< it, in the last pass
    std::string refused_this_pass_;
    std::set<std::string> settings_;
    std::set<std::string> rules_;
    std::vector<std::string> broken_;
    std::string story_;
    std::size_t resets_ = 0;
    Road road_;
};
