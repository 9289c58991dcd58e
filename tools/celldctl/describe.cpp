#include "describe.hpp"

#include "bus/message_adapter.hpp"
#include "message_fields.hpp"
#include "snapshot.hpp"
#include "utils/strings.hpp"

#include <ecu/kova/rt/signal_adapter.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <vector>

namespace celldctl {

namespace {

using namespace ecu::kova;

Description noted(std::string note, const com::Message& message, bool malformed)
{
    Description description;
    description.payload = hex(message.payload());
    description.text = "(" + note + ")" + (message.payload().empty() ? "" : " ") + description.payload;
    description.note = std::move(note);
    description.malformed = malformed;
    return description;
}

Description described(Fields fields, const char* without)
{
    Description description;
    if (fields.empty()) {
        description.note = without;
        description.text = std::string("(") + without + ")";
    } else {
        description.text = fields.line();
    }
    description.fields = std::move(fields);
    return description;
}

/// The codes of DeserializeResult.
std::string reason(int code)
{
    constexpr std::array REASONS{"shorter than its header", "its header cannot be read",
                                 "its protocol type is \"not used\"", "its header length is not 18",
                                 "its body is cut short or no message of this topic"};
    const auto index = static_cast<std::size_t>(code) - 1;
    return index < REASONS.size() ? REASONS[index] : "code " + std::to_string(code);
}

template <class T>
Description framed(const com::Message& message)
{
    com::PbInternalMessageAdapter<T> adapter;
    adapter.log_refusals(false);
    const auto result = adapter.deserialize(message);
    if (!result) {
        return noted("no frame of this topic: " + reason(result.code), message, true);
    }
    Fields fields;
    add_fields(fields, result.value);
    auto description = described(std::move(fields), "no field is set");
    if constexpr (std::is_same_v<T, pb::ModemStatus>) {
        if (result.value.has_state()) {
            description.state = result.value.state();
        }
    }
    return description;
}

/// Values are one byte unless the name says that they are text.
void add_signal(Fields& out, const std::string& name, const rt::SignalData& data)
{
    if (name == "imei" || name == "iccid") {
        out.add_text(name, std::string(data.begin(), data.end()));
        return;
    }
    const std::string shown = printable(name);
    if (data.size() != 1) {
        out.add(shown, hex(data));
    } else if (name == "modem_creg" && pb::ModemRegistration::RegistrationStatus_IsValid(data[0])) {
        out.add(shown, pb::ModemRegistration::RegistrationStatus_Name(
                           static_cast<pb::ModemRegistration::RegistrationStatus>(data[0])));
    } else {
        out.add_number(shown, name == "modem_rssi" ? static_cast<std::int8_t>(data[0]) : data[0]);
    }
}

Description signals(const com::Message& message)
{
    const auto group = rt::SignalAdapter::instance().unpack(message);
    if (!group) {
        return noted(printable(group.error()), message, true);
    }
    Fields fields;
    for (const auto& [name, data] : group.value().signals()) {
        add_signal(fields, name, data);
    }
    return described(std::move(fields), "no signal in the group");
}

Description bridge(const com::Message& message)
{
    const auto up = bridge_is_up(message);
    if (!up) {
        return noted("neither 0 nor 1", message, true);
    }
    Fields fields;
    fields.add("bridge", *up ? "up" : "down");
    return described(std::move(fields), "");
}

struct Decoder {
    const char* topic;
    Kind kind;
    Description (*decode)(const com::Message&);
};

constexpr std::array DECODERS{
    Decoder{"system/modem/status", Kind::STATUS, &framed<pb::ModemStatus>},
    Decoder{"system/modem/hardware", Kind::HARDWARE, &framed<pb::ModemHardware>},
    Decoder{"system/modem/sim", Kind::SIM, &framed<pb::ModemSimInformation>},
    Decoder{"system/modem/registration", Kind::REGISTRATION, &framed<pb::ModemRegistration>},
    Decoder{"be/status", Kind::BACKEND, &framed<pb::BackendProxyStatus>},
    Decoder{BRIDGE_TOPIC, Kind::OTHER, &bridge},
};
constexpr std::string_view SIGNALS_BELOW = "rt/";

Kind kind_of(const std::string& topic)
{
    for (const auto& decoder : DECODERS) {
        if (topic == decoder.topic) {
            return decoder.kind;
        }
    }
    return topic.rfind(SIGNALS_BELOW, 0) == 0 ? Kind::SIGNALS : Kind::OTHER;
}

Description decode(const std::string& topic, const com::Message& message)
{
    if (message.payload().empty()) {
        return noted("empty: the topic is cleared", message, false);
    }
    for (const auto& decoder : DECODERS) {
        if (topic == decoder.topic) {
            return decoder.decode(message);
        }
    }
    return topic.rfind(SIGNALS_BELOW, 0) == 0 ? signals(message) : noted("unknown topic", message, false);
}

} // namespace

const char* word(Kind kind)
{
    return KIND_WORDS.at(static_cast<std::size_t>(kind));
}

Description describe(const std::string& topic, const com::Message& message)
{
    auto description = decode(topic, message);
    description.kind = kind_of(topic);
    return description;
}

std::optional<ModemState> modem_state(std::string name)
{
    std::transform(name.begin(), name.end(), name.begin(), [](char character) {
        return static_cast<char>(std::toupper(static_cast<unsigned char>(character)));
    });
    ModemState state{};
    if (!pb::ModemStatus::ModemState_Parse(name, &state)) {
        return std::nullopt;
    }
    return state;
}

utils::Words modem_state_words()
{
    static const auto NAMES = [] {
        std::vector<std::string> names;
        for (int value = pb::ModemStatus::ModemState_MIN; value <= pb::ModemStatus::ModemState_MAX; ++value) {
            names.push_back(utils::lower_case(
                pb::ModemStatus::ModemState_Name(static_cast<pb::ModemStatus::ModemState>(value))));
        }
        return names;
    }();
    static const auto WORDS = [] {
        std::vector<const char*> words;
        words.reserve(NAMES.size());
        for (const auto& name : NAMES) {
            words.push_back(name.c_str());
        }
        return words;
    }();
    return WORDS;
}

} // namespace celldctl
