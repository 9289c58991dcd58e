#pragma once

#include <ecu/kova/com/transport_client.hpp>
#include <ecu/kova/outcome.hpp>

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace ecu::kova::rt {

using SignalData = std::vector<std::uint8_t>;

/// The signals of one topic.
class SignalGroup {
public:
    explicit SignalGroup(std::string topic);

    const std::string& topic() const { return topic_; }
    /// The name that a group of this topic gives its one signal: the topic's last level ("modem_creg").
    std::string default_signal_name() const;

    /// Fails on an empty name, or when the group would outgrow what one message may carry (64 KiB).
    Outcome<bool> set_signal_data(const std::string& name, SignalData data);
    std::optional<SignalData> signal(const std::string& name) const;
    const std::map<std::string, SignalData>& signals() const { return signals_; }

private:
    std::string topic_;
    std::map<std::string, SignalData> signals_;
    std::size_t size_ = 0; // bytes that the signals take when packed, rounded up
};

/// Packs signal groups into bus messages (ecu.kova.pb.SignalGroup) and back. Any thread.
class SignalAdapter {
public:
    static SignalAdapter& instance();

    SignalGroup create_sg(const std::string& topic) const;
    Outcome<com::Message> pack(const SignalGroup& group) const;
    /// Fails on bytes that are no signal group; nothing throws.
    Outcome<SignalGroup> unpack(const com::Message& message) const;

private:
    SignalAdapter() = default;
};

} // namespace ecu::kova::rt
