#include "fleet/metrics.hpp"

#include "utils/strings.hpp"

#include <array>
#include <cstdio>
#include <fstream>
#include <sys/resource.h>
#include <unistd.h>

namespace celldctl {

namespace {

using Text = std::optional<std::string>;

/// One after the other: all samples of a family, then the next family.
class MetricText {
public:
    void family(const char* name, const char* type, const char* help)
    {
        name_ = name;
        text_ += std::string("# HELP ") + name + ' ' + help + "\n# TYPE " + name + ' ' + type + '\n';
    }
    void sample(const std::string& labels, const std::string& value)
    {
        text_.append(name_)
            .append(labels.empty() ? "" : "{" + labels + "}")
            .append(" ")
            .append(value)
            .append("\n");
    }
    void sample(const std::string& labels, std::int64_t value) { sample(labels, std::to_string(value)); }

    std::string take() { return std::move(text_); }

private:
    const char* name_ = "";
    std::string text_;
};

std::string label(const char* name, const std::string& value)
{
    return std::string(name) + "=\"" + label_value(value) + '"';
}

std::string seconds(double value)
{
    std::array<char, 32> text{};
    static_cast<void>(std::snprintf(text.data(), text.size(), "%.3f", value));
    return text.data();
}

std::string unix_time(FleetTime time)
{
    return seconds(std::chrono::duration<double>(time.time_since_epoch()).count());
}

std::string number(std::int64_t value)
{
    return std::to_string(value);
}

/// A family with one sample a unit; `value` says nothing where it is not known.
struct UnitFamily {
    const char* name;
    const char* type;
    const char* help;
    Text (*value)(const UnitRecord&);
};

constexpr std::array UNIT_FAMILIES{
    UnitFamily{"celld_up", "gauge",
               "Whether what is known of the unit is of now: its bridge is up, its daemon runs and says so.",
               [](const UnitRecord& unit) { return Text(number(unit.condition == Condition::UP ? 1 : 0)); }},
    UnitFamily{"celld_bridge_up", "gauge", "Whether the unit's broker is bridged to the central one.",
               [](const UnitRecord& unit) {
                   return unit.bridge_up ? Text(number(*unit.bridge_up ? 1 : 0)) : Text();
               }},
    UnitFamily{"celld_daemon_gone", "gauge", "Whether the unit's daemon has ended without a farewell.",
               [](const UnitRecord& unit) { return Text(number(unit.daemon_gone ? 1 : 0)); }},
    UnitFamily{"celld_state_since_timestamp_seconds", "gauge", "When the state began, or was first heard of.",
               [](const UnitRecord& unit) { return unit.state ? Text(unix_time(unit.since)) : Text(); }},
    UnitFamily{
        "celld_last_seen_timestamp_seconds", "gauge",
        "When the last message came that the broker had not retained.",
        [](const UnitRecord& unit) { return unit.last_seen ? Text(unix_time(*unit.last_seen)) : Text(); }},
    UnitFamily{"celld_signal_strength_dbm", "gauge",
               "Received signal strength, -113 (or less) to -51 (or more) dBm.",
               [](const UnitRecord& unit) { return unit.rssi_dbm ? Text(number(*unit.rssi_dbm)) : Text(); }},
    UnitFamily{"celld_signal_bars", "gauge", "Signal quality, 0 to 5.",
               [](const UnitRecord& unit) { return unit.bars ? Text(number(*unit.bars)) : Text(); }},
    UnitFamily{"celld_module_starts_total", "counter",
               "How often the module was seen to be switched on again.",
               [](const UnitRecord& unit) { return Text(std::to_string(unit.starts)); }},
    UnitFamily{"celld_messages_total", "counter", "Messages of the unit.",
               [](const UnitRecord& unit) { return Text(std::to_string(unit.messages)); }},
    UnitFamily{"celld_malformed_messages_total", "counter", "Messages of the unit that do not decode.",
               [](const UnitRecord& unit) { return Text(std::to_string(unit.malformed)); }},
    UnitFamily{"celld_two_senders", "gauge",
               "Whether two hosts seem to publish under the unit's id, or one boots again and again.",
               [](const UnitRecord& unit) { return Text(number(unit.two_senders ? 1 : 0)); }},
};

void add_values(MetricText& out, const FleetModel::Units& units)
{
    for (const auto& family : UNIT_FAMILIES) {
        out.family(family.name, family.type, family.help);
        for (const auto& [id, unit] : units) {
            if (const auto value = family.value(unit)) {
                out.sample(label("unit", id), *value);
            }
        }
    }
}

/// One sample for each state that there is, as OpenMetrics' state sets have it.
void add_states(MetricText& out, const FleetModel::Units& units)
{
    using ecu::kova::pb::ModemStatus;
    out.family("celld_state", "gauge", "The modem's state: 1 for the present one, 0 for the others.");
    for (const auto& [id, unit] : units) {
        const auto labels = label("unit", id) + ",state=\"";
        for (int state = ModemStatus::ModemState_MIN; unit.state && state <= ModemStatus::ModemState_MAX;
             ++state) {
            out.sample(labels + ModemStatus::ModemState_Name(static_cast<ModemState>(state)) + '"',
                       state == *unit.state ? 1 : 0);
        }
    }
}

void add_texts(MetricText& out, const FleetModel::Units& units)
{
    out.family("celld_network_info", "gauge", "Always 1: the operator and the access technology.");
    for (const auto& [id, unit] : units) {
        if (unit.operator_name || unit.operator_id || unit.technology) {
            out.sample(label("unit", id) + ',' + label("operator", unit.operator_name.value_or("")) + ',' +
                           label("operator_id", unit.operator_id.value_or("")) + ',' +
                           label("technology", unit.technology.value_or("")),
                       1);
        }
    }
    out.family("celld_module_info", "gauge", "Always 1: the module.");
    for (const auto& [id, unit] : units) {
        if (unit.model) {
            out.sample(label("unit", id) + ',' + label("model", *unit.model), 1);
        }
    }
    out.family("celld_last_reset_info", "gauge", "Always 1: the reason of the module's last reset.");
    for (const auto& [id, unit] : units) {
        if (unit.reset_reason) {
            out.sample(label("unit", id) + ',' + label("reason", *unit.reset_reason), 1);
        }
    }
}

double cpu_seconds()
{
    rusage usage{};
    static_cast<void>(getrusage(RUSAGE_SELF, &usage));
    constexpr double US_PER_S = 1e6;
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / US_PER_S;
}

/// proc(5), statm: pages in all, and in memory.
std::int64_t resident_bytes()
{
    std::int64_t all = 0;
    std::int64_t resident = 0;
    std::ifstream("/proc/self/statm") >> all >> resident;
    return resident * sysconf(_SC_PAGESIZE);
}

void add_exporter(MetricText& out, const FleetModel& model, bool broker_connected)
{
    out.family(
        "celld_exporter_broker_connected", "gauge",
        "Whether there is a connection to the central broker; without one all else is what was last heard.");
    out.sample("", broker_connected ? 1 : 0);
    out.family("celld_exporter_units", "gauge", "How many units are known.");
    out.sample("", std::to_string(model.units().size()));
    out.family("celld_exporter_left_out_messages_total", "counter",
               "Messages below ids that can be none, and of units beyond those that are kept.");
    out.sample("reason=\"id\"", std::to_string(model.left_out().ids));
    out.sample("reason=\"units\"", std::to_string(model.left_out().units));
    out.family("process_cpu_seconds_total", "counter", "Processor time of the exporter.");
    out.sample("", seconds(cpu_seconds()));
    out.family("process_resident_memory_bytes", "gauge", "Memory of the exporter.");
    out.sample("", resident_bytes());
}

} // namespace

std::string metrics_text(const FleetModel& model, bool broker_connected)
{
    MetricText out;
    add_exporter(out, model, broker_connected);
    add_values(out, model.units());
    add_states(out, model.units());
    add_texts(out, model.units());
    return out.take();
}

std::string label_value(const std::string& text)
{
    std::string out;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\') {
            out += std::string("\\") + character;
        } else if (byte < 0x20 || byte == 0x7f) {
            std::array<char, 8> escaped{};
            static_cast<void>(std::snprintf(escaped.data(), escaped.size(), "\\\\x%02x", unsigned{byte}));
            out += escaped.data();
        } else {
            out += character;
        }
    }
    return utils::to_valid_utf8(out);
}

} // namespace celldctl
