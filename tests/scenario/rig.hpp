#pragma once

#include "record/transcript_check.hpp"
#include "scenario/bus_probe.hpp"
#include "support/child.hpp"
#include "support/process_facts.hpp"
#include "support/temp_root.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace pb = ecu::kova::pb;

/// A unit on the bench: a root directory; a broker, celld-sim and celld as processes of their own, the last
/// two in a time that passes faster (tools/fast-time). Nothing is timed: what the waits of a case share is
/// its budget, and when that is over, or celld has ended unasked, an exception fails the case and says what
/// it waited for. What the programs said is then printed.
class Rig : public testing::Test {
protected:
    using State = BusProbe::State;
    static constexpr auto CONNECTED = pb::ModemStatus_ModemState_CONNECTED;
    static constexpr auto DISABLED = pb::ModemStatus_ModemState_DISABLED;

    struct Unit {
        std::string board = "qbx";
        std::vector<std::string> module{}; // options of celld-sim
        std::string settings{};            // lines of celld.conf
    };

    Rig();
    /// The module's transcript must show nothing wrong, but for what is excused, nor must celld's log.
    void TearDown() override;
    void excuse(bench::Rule rule) { excused_.insert(rule); }

    /// Writes the unit's files and starts the module, without supply as yet.
    void plug(const Unit& unit);
    void configure(const std::string& settings);
    void start_broker();
    void kill_celld() { celld_.kill(); }   ///< as a power cut does
    void stop_broker() { broker_.kill(); } ///< which then has forgotten everything
    void start_celld(const std::vector<std::string>& words = {});
    /// All of these, until the connection stands and the backend is there.
    void connect(const Unit& unit);

    /// Over the bus; the transcript is told, so that its check sees to the supply.
    void radio_silence(bool on);

    /// Gives the case so much of the programs' time from now on, for whatever it waits for.
    void renew_budget(std::chrono::seconds time);
    /// Lets so much of the programs' time go by.
    static void pass(std::chrono::seconds time);
    static std::chrono::seconds in_programs_time(std::chrono::seconds time); ///< what goes by in the test's

    void await(const std::string& what, const std::function<bool()>& condition);
    void await_state(State state);
    void await_leaving(State state);
    void await_reconnection();
    /// While nothing changes there is one in ten seconds.
    void await_more_statuses(std::size_t count);
    /// As Child::result().
    int await_exit();
    int terminate();

    /// Steers the module (docs/bench.md). @throws std::runtime_error unless it answers "ok"
    std::string sim(const std::string& command) const;
    std::vector<std::string> journal() const; ///< what the module was told behind "AT", oldest first
    int commands(const std::string& prefix) const;
    ProcessFacts threads_and_descriptors() const { return ProcessFacts::of(std::to_string(celld_.id())); }
    bool supply() const; ///< the VCC line, as the board takes it

    int said(const std::string& text) const; ///< how often the present or last celld did
    int resets() const { return said("Reset counter: "); }
    std::string log() const { return root_.read(log_name(runs_)); }

    BusProbe& bus() { return *bus_; }
    Child& celld() { return celld_; }
    const TempRoot& root() const { return root_; }
    int port() const { return port_; }

private:
    static std::string log_name(int run) { return "/celld-" + std::to_string(run) + ".log"; }

    TempRoot root_;
    std::string board_;
    int port_;
    std::chrono::steady_clock::time_point deadline_;
    int runs_ = 0;          // of celld
    bool expected_ = false; // the end of the last one
    std::set<bench::Rule> excused_;
    std::unique_ptr<BusProbe> bus_;
    Child broker_;
    Child module_;
    Child celld_;
};
