#pragma once

#include "recovery_time.hpp"
#include "support/free_port.hpp"
#include "support/process_facts.hpp"
#include "support/wired_port.hpp"
#include "unit/modem/modem_fixture.hpp"
#include "watch.hpp"

#include <map>
#include <string>
#include <vector>

/// How a run may end.
enum class End {
    CONNECTED,
    FATAL = EXIT_FAILURE, ///< a set-up that cannot go on ends the process at once
    HARDWARE_ERROR,       ///< reported, and nothing more is tried
    GIVEN_UP,             ///< the limit of resets ended the daemon
    OFF,                  ///< by order
    NO_HARDWARE,          ///< a board without a modem
    ELSEWHERE,            ///< where no run may end
    BROKEN,               ///< something did not hold on the way, or what is told is not what is
};

/// What a unit has and says when it is connected and the world is good: the same whatever was before.
struct Facts {
    std::map<std::string, std::string> told; ///< by topic, but for what tells of the past
    std::set<std::string> settings;          ///< that the module has been given since it started
    std::size_t descriptors = 0;             ///< of the process, more than before the unit was there
    std::size_t threads = 0;                 ///< likewise
};

/// A whole unit in virtual time, made for one run, and watched.
class Unit : public ModemFixture {
public:
    using State = ModemFixture::State;
    using Family = ScriptedPort::Family;

    struct Kind {
        bool mqtt = false;  ///< a bus of MQTT, whose broker the run brings; or one within the process
        bool wired = false; ///< the daemon's own port, at the other end of its line; or a dialogue alone
        /// What it is, in place of what most units are: given to it before it begins.
        void (*fitted)(Unit&) = nullptr;
    };

    Unit(Family of, Kind kind);
    explicit Unit(Family of) : Unit(of, Kind()) {}
    void TestBody() override {}

    /// Of a wired one.
    WiredPort& wire() { return dynamic_cast<WiredPort&>(module); }

    using ModemFixture::backend;
    using ModemFixture::clock;
    using ModemFixture::left;
    using ModemFixture::modem;
    using ModemFixture::module;
    using ModemFixture::pin;
    using ModemFixture::published;
    using ModemFixture::SIM_LOCK;
    using ModemFixture::state;

    int broker_port() const { return broker_port_; }
    std::string path(const std::string& file) const { return root.path(file).string(); }
    void write(const std::string& file, const std::string& text) const { root.write(file, text); }
    void lock_asks_for(bool external) const { pin(SIM_LOCK, external == lock_active_high ? "1" : "0", "in"); }
    /// Before it begins.
    void configure(const std::string& key, const std::string& value) { settings->set(key, value); }

    void blackout(bool on)
    {
        watch.radio_silence(on);
        ModemFixture::blackout({static_cast<std::uint8_t>(on)});
    }
    void stop()
    {
        modem().stop();
        stopped_ = true;
    }
    void step()
    {
        ModemFixture::step();
        watch.pass_ended();
        if (stopped_ && !left) { // what is left is that of `run`
            modem().run(Modem::RunAction::RUN);
            left = true;
            watch.pass_ended();
        }
    }
    /// Passes until the condition holds, the daemon ends, or the limit has passed. True when it holds.
    template <class Condition>
    bool pass_until(Clock::time_point::duration limit, Condition condition)
    {
        const auto end = clock.now() + limit;
        while (!condition() && !left && clock.now() < end) {
            step();
        }
        return condition();
    }
    bool connects_within(Clock::time_point::duration limit)
    {
        return pass_until(limit, [this] { return state() == State::CONNECTED; });
    }
    void pass_for(Clock::time_point::duration time)
    {
        pass_until(time, [] { return false; });
    }

    /// Until all that is told when connected has been told; then what it is.
    Facts facts();
    End end();
    /// All that left the daemon, in one number; of the bus how often each topic was told, and what last. The
    /// daemon is gone then.
    std::uint64_t road();

    const Family family;
    Recovery recovery;
    bool card_bad = false;         ///< out of its holder, or one that refuses its PIN; the module has said so
    bool holds_external = false;   ///< the lock asks for the card in the holder while the world is good
    bool lock_active_high = false; ///< high is what asks for it
    Watch watch;

private:
    const int broker_port_ = free_port();
    bool stopped_ = false;
    const ProcessFacts before_;
};

std::string name_of(Unit::Family family);

/// The facts of a unit that never had any trouble. @throws std::runtime_error when they are not the module's
Facts good_facts(Unit::Family family, Unit::Kind kind);

/// What of them is otherwise, in words.
std::vector<std::string> differences(const Facts& good, const Facts& present);
