#pragma once

#include "base/timer_queue.hpp"

#include <chrono>
#include <functional>
#include <string>

namespace bench {

/// Numbers of 3GPP TS 27.007 clause 7.2 (+CREG <stat>).
enum class Stat { NOT_REGISTERED = 0, HOME = 1, SEARCHING = 2, DENIED = 3, ROAMING = 5, EMERGENCY = 8 };

/// Access technologies of 3GPP TS 27.007 clause 7.2 (<AcT>) that the bench tells apart.
constexpr int ACT_UTRAN = 2;
constexpr int ACT_EUTRAN = 7;

/// What the network around the module offers.
struct Surroundings {
    enum class Answer { HOME, ROAMING, DENIED, EMERGENCY, SEARCH, LOST };

    Answer answer = Answer::HOME;
    bool eps_only = false;         ///< a subscription without the circuit-switched domain
    bool contexts_refused = false; ///< the attach brings no default bearer
    int act = ACT_UTRAN;
    int rssi = 20; ///< as +CSQ gives it: 0 to 31, dBm = 2 * rssi - 113
    int antenna_ohm = 10;
    std::string operator_name = "Bench Mobile";
    std::string operator_id = "00101"; ///< test network of ITU-T E.212
    std::string sim_operator_name = "Bench SIM";
};

/// Registration of the module: searches while it may, registers after a while, tells each change to the
/// observer.
class Network {
public:
    enum class Domain { CS, PS, EPS };

    struct Observer {
        std::function<void(Domain)> registration; ///< the domain's stat, cell or access technology changed
        std::function<void()> settled;            ///< all domains of a change are told
    };

    Network(TimerQueue& timers, std::chrono::milliseconds delay, Surroundings surroundings);
    ~Network() { timers_.cancel(timer_); }
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    void observe(Observer observer) { observer_ = std::move(observer); }

    /// May the module register: radio on, automatic selection, SIM ready? Starts the search or deregisters.
    void enable(bool on);

    /// As a power loss: forgets everything without telling.
    void power_down();

    void answer(Surroundings::Answer answer);
    void eps_only(bool on);
    void act(int act);
    Surroundings& surroundings() { return surroundings_; }
    const Surroundings& surroundings() const { return surroundings_; }

    Stat stat(Domain domain) const;
    bool registered(Domain domain) const;
    bool registered() const { return registered(Domain::CS) || attached(); }
    /// Packet service, in whichever domain gives it.
    bool attached() const { return registered(Domain::PS) || registered(Domain::EPS); }
    bool roaming() const;

private:
    void search();
    void arrive();
    void set(Stat cs, Stat ps, Stat eps);
    void set_served(Stat stat);
    void tell(Domain domain) const;

    TimerQueue& timers_;
    std::chrono::milliseconds delay_;
    Surroundings surroundings_;
    Observer observer_;
    bool enabled_ = false;
    Stat cs_ = Stat::NOT_REGISTERED;
    Stat ps_ = Stat::NOT_REGISTERED;
    Stat eps_ = Stat::NOT_REGISTERED;
    TimerQueue::Id timer_ = 0;
};

} // namespace bench
