#include <ecu/kova/date_time.hpp>
#include <ecu/kova/rt/signal_adapter.hpp>
#include <ecu/pb/modem.pb.h>

#include <cstddef>

namespace ecu::kova::rt {

namespace {

constexpr std::size_t LARGEST_GROUP = 64UL * 1024UL; // bytes, packed; what one bus message may carry

/// What a signal takes at most: its bytes, and the tags and lengths of the group, the name and the data.
std::size_t size_within_group(const std::string& name, const SignalData& data)
{
    constexpr std::size_t TAGS_AND_LENGTHS = 12; // three times a tag and up to three bytes of length
    return name.size() + data.size() + TAGS_AND_LENGTHS;
}

pb::SignalGroup to_protobuf(const SignalGroup& group)
{
    pb::SignalGroup packed;
    packed.set_topic(group.topic());
    for (const auto& [name, data] : group.signals()) {
        auto& signal = *packed.add_signal();
        signal.set_name(name);
        signal.set_data(data.data(), data.size());
    }
    return packed;
}

} // namespace

SignalGroup::SignalGroup(std::string topic) : topic_(std::move(topic)) {}

std::string SignalGroup::default_signal_name() const
{
    const auto slash = topic_.rfind('/');
    return slash == std::string::npos ? topic_ : topic_.substr(slash + 1);
}

Outcome<bool> SignalGroup::set_signal_data(const std::string& name, SignalData data)
{
    if (name.empty()) {
        return Outcome<bool>::failure("a signal needs a name");
    }
    const auto known = signals_.find(name);
    const std::size_t replaced = known == signals_.end() ? 0 : size_within_group(name, known->second);
    const std::size_t size = size_ - replaced + size_within_group(name, data);
    if (size + topic_.size() > LARGEST_GROUP) {
        return Outcome<bool>::failure("the signal group would be larger than 65536 bytes");
    }
    size_ = size;
    signals_[name] = std::move(data);
    return Outcome<bool>::success(true);
}

std::optional<SignalData> SignalGroup::signal(const std::string& name) const
{
    const auto found = signals_.find(name);
    if (found == signals_.end()) {
        return std::nullopt;
    }
    return found->second;
}

SignalAdapter& SignalAdapter::instance()
{
    static SignalAdapter adapter;
    return adapter;
}

SignalGroup SignalAdapter::create_sg(const std::string& topic) const
{
    return SignalGroup(topic);
}

Outcome<com::Message> SignalAdapter::pack(const SignalGroup& group) const
{
    using Packed = Outcome<com::Message>;
    if (group.topic().empty()) {
        return Packed::failure("a signal group needs a topic");
    }
    const auto packed = to_protobuf(group);
    com::Message::Payload payload(packed.ByteSizeLong());
    if (payload.size() > LARGEST_GROUP) {
        return Packed::failure("the signal group is larger than 65536 bytes");
    }
    if (!packed.SerializeToArray(payload.data(), static_cast<int>(payload.size()))) {
        return Packed::failure("the signal group cannot be serialised");
    }
    return Packed::success(com::Message(std::move(payload), DateTime::time_since_boot_ns()));
}

Outcome<SignalGroup> SignalAdapter::unpack(const com::Message& message) const
{
    using Unpacked = Outcome<SignalGroup>;
    const auto& payload = message.payload();
    if (payload.size() > LARGEST_GROUP) {
        return Unpacked::failure("the message is larger than a signal group can be");
    }
    // Parsed partially and checked here: a missing field would otherwise be told on standard error as well.
    pb::SignalGroup packed;
    if (!packed.ParsePartialFromArray(payload.data(), static_cast<int>(payload.size())) ||
        !packed.IsInitialized()) {
        return Unpacked::failure("the message is no signal group");
    }
    SignalGroup group(packed.topic());
    for (const auto& signal : packed.signal()) {
        const auto& data = signal.data();
        if (auto set = group.set_signal_data(signal.name(), SignalData(data.begin(), data.end())); !set) {
            return Unpacked::failure(set.error());
        }
    }
    return Unpacked::success(std::move(group));
}

} // namespace ecu::kova::rt
