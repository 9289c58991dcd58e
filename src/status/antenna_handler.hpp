#pragma once

#include "at/at_tty_port.hpp"
#include "data/modem_data.hpp"
#include "status/antenna_limits.hpp"
#include "timer/clock.hpp"
#include "utils/lasting_failure.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <optional>
#include <thread>
#include <threads/mutex.hpp>

/// Watches the cellular antenna on a thread of its own: reads and publishes the signal strength, and when it
/// is weak, a fault is known or a check is due, measures the impedance and reports open circuit and short to
/// ground. Logs on "celld.antenna".
///
/// `start` and `stop` from one thread; `stop` waits for one command in flight (10 s at worst, 40 s with the
/// port busy). `update` runs on the handler's thread, or on the caller's while that is not running.
class AntennaHandler {
public:
    static constexpr const char* CONFIG_RSSI_THRH_KEY = "antenna.rssi_threshold";
    static constexpr const char* CONFIG_THREAD_FREQ_KEY = "antenna.frequency";
    static constexpr const char* CONFIG_FORCE_CHECK_KEY = "antenna.force_check_interval";

    struct Settings {
        std::int32_t rssi_threshold = 10;      ///< <rssi> of +CSQ; no impedance check while above
        std::int32_t frequency_s = 10;         ///< seconds between two updates
        std::int32_t force_check_interval = 3; ///< updates between two checks that are made in any case
    };

    AntennaHandler(std::shared_ptr<AtTtyPort> port, ModemData* data,
                   std::shared_ptr<ecu::kova::com::ITransportClient> client, const Settings& settings,
                   const AntennaLimits& limits, Clock& clock = SystemClock::instance());
    AntennaHandler(const AntennaHandler&) = delete;
    AntennaHandler& operator=(const AntennaHandler&) = delete;
    ~AntennaHandler();

    /// Returns once the thread waits, so that its period counts from here.
    void start();
    void stop();

    /// One round: signal strength, and the impedance when it is due.
    void update();
    /// Asks the module and returns whether it answered; the value goes into the record.
    bool rssi() { return update_rssi(); }

private:
    void run();
    void round(bool on_thread);
    void count_period();
    bool update_rssi();
    void publish_rssi_on_change();
    bool check_due() const;
    bool stopping();
    std::optional<int> measure_impedance();
    void diagnose(int impedance);
    void tell_diagnosis(int impedance, bool short_to_ground, bool open_circuit) const;
    void send_diagnosis();

    std::shared_ptr<AtTtyPort> port_;
    ModemData* data_;
    std::shared_ptr<ecu::kova::com::ITransportClient> client_;
    Settings settings_;
    AntennaLimits limits_;
    Clock& clock_;

    // The handler's thread only, while it runs.
    LastingFailure rssi_unknown_;
    LastingFailure impedance_unknown_;
    bool check_requested_ = false;
    bool open_circuit_ = false;
    bool short_to_ground_ = false;
    bool first_report_ = true; // no diagnosis of this process yet
    bool report_owed_ = false; // the bus has not taken the last one
    std::int32_t last_rssi_ = -1;
    std::int32_t periods_ = 0;

    threads::Mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable waits_;
    bool running_ THREADS_GUARDED_BY(mutex_) = false;
    bool waiting_ THREADS_GUARDED_BY(mutex_) = false; // since the last start
    std::thread thread_;
};
