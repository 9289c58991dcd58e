#pragma once

#include <istream>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace ecu::kova::config {

/// What a configuration file got wrong: `what()` names the source and the line.
class ConfigurationError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Keys and values, with defaults behind them. Not thread-safe: filled by one thread, then only read.
class Configuration {
public:
    /// The value set, else the default registered, else an empty text.
    std::string get(const std::string& key) const;
    /// Whether the key was set (a default does not count).
    bool is_set(const std::string& key) const;
    /// Whether `get` answers with something set or registered.
    bool has(const std::string& key) const;

    /// The keys that were set, sorted.
    std::vector<std::string> keys() const;

    void set(const std::string& key, const std::string& value);
    /// A key that is set keeps its value.
    void set_default(const std::string& key, const std::string& value);

    /// False when "port" is no number from 1 to 65535, "client_name" is empty or no MQTT client id (not
    /// UTF-8, a control character), or "host" was set to an empty text. Logs which key and why, at ERROR on
    /// "kova.config".
    bool verify() const;

private:
    std::map<std::string, std::string> values_;
    std::map<std::string, std::string> defaults_;
};

/// Fills `configuration` from lines `key = value`: blanks around key and value are dropped, a line whose
/// first character is # is a comment, empty lines are skipped, the value is everything behind the first '=',
/// a later line for the same key wins. A line without '=' or with an empty key throws ConfigurationError; the
/// text names `source` and the line.
void set_config_from_input(Configuration& configuration, std::istream& input, const std::string& source);

} // namespace ecu::kova::config
