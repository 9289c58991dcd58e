#pragma once

#include "at/at_command.hpp"
#include "support/log_capture.hpp"
#include "support/manual_clock.hpp"
#include "support/temp_root.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

/// Writes down what leaves a daemon: commands, levels of pins, messages, and records from NOTICE up, each
/// with the time since the beginning. Of a message only what is new since the last of its topic; those of a
/// pass stand at its end. Passes that go round are only counted. Main thread only.
class Recorder {
public:
    Recorder(const ManualClock& clock, LogCapture& log, const TempRoot& root);

    void begin_pass();
    void command(const AtCommand& command);
    /// Before time passes: what has been switched until now was switched now.
    void look();
    void end_pass();

    /// All since the last call.
    std::string take();
    /// The same, as how often each line came.
    std::string take_counts();

private:
    /// Keeps what comes over the bus. Any thread.
    class Inbox : public ecu::kova::com::ISubscriptionObserver {
    public:
        using Messages = std::vector<std::pair<std::string, ecu::kova::com::Message>>;

        void message(const std::string& topic, const ecu::kova::com::Message& message) override
        {
            const std::lock_guard held(mutex_);
            messages_.emplace_back(topic, message);
        }
        Messages take()
        {
            const std::lock_guard held(mutex_);
            return std::exchange(messages_, {});
        }

    private:
        std::mutex mutex_;
        Messages messages_;
    };
    struct Pass {
        Clock::time_point begin;
        std::vector<std::string> lines;
    };

    void add(const std::string& line);
    void add_records();
    void add_levels();
    void add_messages();
    std::size_t repetitions(std::size_t first, std::size_t period) const;
    std::string text_of(const Pass& pass) const;

    const ManualClock& clock_;
    LogCapture& log_;
    const TempRoot& root_;
    std::shared_ptr<Inbox> bus_ = std::make_shared<Inbox>();
    std::shared_ptr<ecu::kova::com::ITransportClient> client_;
    std::map<std::string, std::string> last_; ///< message of a topic
    std::string will_;
    std::map<std::string, std::string> levels_;

    Clock::time_point beginning_ = clock_.now();
    Clock::time_point pass_begin_ = beginning_;
    std::vector<std::string> pass_; ///< lines with the time since its beginning
    std::vector<Pass> passes_;
};
