#include "modem/stoppable_variables.hpp"

#include <algorithm>

using namespace std::chrono_literals;

namespace {

constexpr auto QUERY_TIMEOUT = 60s; // of one query for a variable that is waited for without end

} // namespace

std::string StoppableVariables::get(const std::string& name, const std::string& fallback,
                                    std::chrono::milliseconds timeout)
{
    auto left = timeout;
    while (true) {
        const auto slice = std::min(left, LOOK_INTERVAL);
        std::string value = inner_->get(name, "", slice);
        left -= slice;
        if (!value.empty()) {
            return value;
        }
        if (left <= 0ms || stop_wanted_()) {
            return fallback;
        }
    }
}

std::string StoppableVariables::await(const std::string& name)
{
    std::string value = get(name, "", QUERY_TIMEOUT);
    while (value.empty() && !stop_wanted_()) {
        value = get(name, "", QUERY_TIMEOUT);
    }
    return value;
}
