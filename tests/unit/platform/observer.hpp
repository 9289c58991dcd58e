#pragma once

#include <ecu/kova/com/transport_client.hpp>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

inline ecu::kova::com::Message text_message(const std::string& text, bool retained = false)
{
    ecu::kova::com::Message message(ecu::kova::com::Message::Payload(text.begin(), text.end()));
    message.retained(retained);
    return message;
}

/// Polls: for what has no event to wait for.
inline bool eventually(const std::function<bool()>& condition, std::chrono::milliseconds timeout)
{
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

/// Keeps what it is told, and does on top what the test asks for.
class RecordingObserver : public ecu::kova::com::ISubscriptionObserver {
public:
    void on_message(std::function<void(const std::string&)> action) { action_ = std::move(action); }

    void message(const std::string& topic, const ecu::kova::com::Message& message) override
    {
        {
            const std::lock_guard lock(mutex_);
            const auto& payload = message.payload();
            seen_.push_back(topic + (message.retained() ? " kept: " : ": ") +
                            std::string(payload.begin(), payload.end()));
            changed_.notify_all();
        }
        if (action_) {
            action_(topic);
        }
    }

    /// All that was seen ("topic: text", "topic kept: text" where it was retained), once there are `count` or
    /// `timeout` is over.
    std::vector<std::string> wait_for(std::size_t count, std::chrono::milliseconds timeout)
    {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, timeout, [&] { return seen_.size() >= count; });
        return seen_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::string> seen_;
    std::function<void(const std::string&)> action_;
};
