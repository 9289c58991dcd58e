#include "scenario/log_rules.hpp"

#include <cstdio>
#include <ctime>
#include <deque>
#include <optional>
#include <sstream>

namespace {

constexpr std::time_t MINUTE_S = 60;
constexpr std::size_t MAX_RECORDS_A_MINUTE = 200; // a boot with a reset and a SIM in trouble writes 83

/// Of a record of NOTICE or above; nothing for other lines.
std::optional<std::time_t> time_of(const std::string& line)
{
    std::tm fields{};
    char level[16] = "";
    if (std::sscanf(line.c_str(), "%d-%d-%dT%d:%d:%d.%*dZ %15s", &fields.tm_year, &fields.tm_mon,
                    &fields.tm_mday, &fields.tm_hour, &fields.tm_min, &fields.tm_sec, level) != 7) {
        return std::nullopt;
    }
    const std::string text = level;
    if (text == "INFO" || text == "DEBUG" || text == "TRACE") {
        return std::nullopt;
    }
    fields.tm_year -= 1900;
    fields.tm_mon -= 1;
    return timegm(&fields);
}

} // namespace

std::vector<std::string> log_violations(const std::string& log)
{
    std::vector<std::string> violations;
    std::deque<std::time_t> last_minute;
    std::string refused;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        if (const auto time = time_of(line)) {
            last_minute.push_back(*time);
            while (last_minute.front() + MINUTE_S <= *time) {
                last_minute.pop_front();
            }
            if (last_minute.size() > MAX_RECORDS_A_MINUTE) {
                violations.push_back("too many records within a minute: " + line);
                last_minute.clear();
            }
        }
        if (line.find("Change state from") != std::string::npos) {
            refused.clear();
        } else if (const auto at = line.find("State transition from");
                   at != std::string::npos && line.find("not allowed!") != std::string::npos) {
            if (line.substr(at) == refused) {
                violations.push_back("refused twice: " + line);
            }
            refused = line.substr(at);
        }
    }
    return violations;
}
