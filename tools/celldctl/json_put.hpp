#pragma once

#include <nlohmann/json.hpp>
#include <optional>

namespace celldctl {

/// What is not known has no key.
template <class T>
void put(nlohmann::ordered_json& object, const char* key, const std::optional<T>& value)
{
    if (value) {
        object[key] = *value;
    }
}

/// Of a unit or of the modem, as both call it.
template <class Facts>
nlohmann::ordered_json signal_json(const Facts& facts)
{
    auto object = nlohmann::ordered_json::object();
    put(object, "rssi_dbm", facts.rssi_dbm);
    put(object, "bars", facts.bars);
    return object;
}

} // namespace celldctl
