#pragma once

#include "bus/message_adapter.hpp"

#include <ecu/kova/rt/signal_adapter.hpp>

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

/// A bus client beside the daemon: hears "system/#" and "rt/#", speaks for the backend and the vehicle. Asked
/// by the test's thread, filled by the client's own. What does not decode throws std::runtime_error.
class BusProbe {
public:
    using State = ecu::kova::pb::ModemStatus_ModemState;
    using Message = ecu::kova::com::Message;

    BusProbe(int port, const std::string& name)
    {
        ecu::kova::config::Configuration settings;
        settings.set("host", "127.0.0.1");
        settings.set("port", std::to_string(port));
        settings.set("client_name", name);
        client_ = create_client(settings, ecu::kova::com::TransportType::MQTT);
        client_->subscribe("system/#", recorder_);
        client_->subscribe("rt/#", recorder_);
    }

    bool is_connected() const { return client_->is_connected(); }

    void backend_connected() { backend(ecu::kova::pb::BackendProxyStatus_Status_BACKEND_CONNECTED); }
    void backend_disconnected() { backend(ecu::kova::pb::BackendProxyStatus_Status_BACKEND_DISCONNECTED); }
    void blackout(bool on)
    {
        const std::string topic = "rt/system/blackout_mode";
        auto group = ecu::kova::rt::SignalAdapter::instance().create_sg(topic);
        if (!group.set_signal_data("blackout_mode", {static_cast<std::uint8_t>(on ? 1 : 0)})) {
            throw std::runtime_error("no signal for " + topic);
        }
        keep(topic, ecu::kova::rt::SignalAdapter::instance().pack(group).value());
    }

    /// False when the client does not take it: it has too much to send as yet.
    bool publish(const std::string& topic, const Message& message)
    {
        return client_->publish(topic, message);
    }

    std::size_t count(const std::string& topic) const { return recorder_->of(topic).size(); }
    std::size_t statuses() const { return count("system/modem/status"); }

    /// The newest message of a topic; `retained`: only one that the broker had kept.
    template <class T>
    std::optional<T> newest(const std::string& topic, bool retained = false) const
    {
        const auto messages = recorder_->of(topic);
        if (messages.empty() || (retained && !messages.back().retained())) {
            return std::nullopt;
        }
        return decode<T>(messages.back());
    }

    /// The byte of the newest real-time signal of a topic.
    int signal(const std::string& topic) const
    {
        const auto group = ecu::kova::rt::SignalAdapter::instance().unpack(recorder_->of(topic).back());
        return group.value().signal(topic.substr(topic.rfind('/') + 1)).value().at(0);
    }

    /// Reads on in the statuses, past the first whose state is (`wanted`) or is not `state`; false when there
    /// is none yet. So no state is missed, however short it was.
    bool advance_to(State state, bool wanted = true)
    {
        const auto all = recorder_->of("system/modem/status");
        while (next_status_ < all.size()) {
            if ((decode<ecu::kova::pb::ModemStatus>(all[next_status_++]).state() == state) == wanted) {
                return true;
            }
        }
        return false;
    }
    /// What was published so far counts no more for `advance_to`.
    void skip_statuses() { next_status_ = statuses(); }

    /// All that was heard.
    void forget()
    {
        recorder_->forget();
        next_status_ = 0;
    }

private:
    class Recorder : public ecu::kova::com::ISubscriptionObserver {
    public:
        void message(const std::string& topic, const Message& message) override
        {
            const std::lock_guard lock(mutex_);
            heard_[topic].push_back(message);
        }
        void forget()
        {
            const std::lock_guard lock(mutex_);
            heard_.clear();
        }
        std::vector<Message> of(const std::string& topic) const
        {
            const std::lock_guard lock(mutex_);
            const auto found = heard_.find(topic);
            return found == heard_.end() ? std::vector<Message>() : found->second;
        }

    private:
        mutable std::mutex mutex_;
        std::map<std::string, std::vector<Message>> heard_; // guarded by mutex_
    };

    void backend(ecu::kova::pb::BackendProxyStatus_Status there)
    {
        ecu::kova::pb::BackendProxyStatus status;
        status.set_status(there);
        keep("be/status",
             ecu::kova::com::PbInternalMessageAdapter<decltype(status)>().serialize(status).value());
    }

    void keep(const std::string& topic, Message message)
    {
        message.retained(true);
        client_->publish(topic, message);
    }

    template <class T>
    static T decode(const Message& message)
    {
        auto result = ecu::kova::com::PbInternalMessageAdapter<T>().deserialize(message);
        if (!result) {
            throw std::runtime_error("a message does not decode, code " + std::to_string(result.code));
        }
        return result.value;
    }

    std::shared_ptr<Recorder> recorder_ = std::make_shared<Recorder>();
    std::shared_ptr<ecu::kova::com::ITransportClient> client_;
    std::size_t next_status_ = 0;
};
