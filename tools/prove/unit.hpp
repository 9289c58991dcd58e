#pragma once

#include "unit/modem/modem_fixture.hpp"

/// How a run may end.
enum class End {
    CONNECTED,
    FATAL = EXIT_FAILURE, ///< a set-up that cannot go on ends the process at once
    HARDWARE_ERROR,       ///< reported, and nothing more is tried
    GIVEN_UP,             ///< the limit of resets ended the daemon
    OFF,                  ///< by order
    ELSEWHERE,            ///< where no run may end
};

/// A whole unit in virtual time, made for one run.
class Unit : public ModemFixture {
public:
    using State = ModemFixture::State;

    explicit Unit(ScriptedPort::Family family) : ModemFixture(family)
    {
        module.refuses_unknown = true;
        ecu::kova::logging::configure_logging("NOTICE"); // a day's DEBUG fills the memory
        begin();
        backend(true);
    }
    void TestBody() override {}

    using ModemFixture::backend;
    using ModemFixture::blackout;
    using ModemFixture::clock;
    using ModemFixture::left;
    using ModemFixture::log;
    using ModemFixture::modem;
    using ModemFixture::module;
    using ModemFixture::pin;
    using ModemFixture::published;
    using ModemFixture::SIM_LOCK;
    using ModemFixture::state;
    using ModemFixture::step;

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

    End end()
    {
        switch (state()) {
        case State::CONNECTED:
            return End::CONNECTED;
        case State::DTC_HW_ERROR:
            return End::HARDWARE_ERROR;
        case State::OFF:
        case State::POWER_OFF:
            return left ? End::GIVEN_UP : End::OFF;
        default:
            return left ? End::GIVEN_UP : End::ELSEWHERE;
        }
    }
};
