#include "at/replay.hpp"

#include "at/at_request.hpp"

#include <utility>

namespace bench {
namespace {

constexpr std::string_view MASK = "***"; ///< in place of a secret

/// Equal but for case and for what is masked.
bool matches(std::string_view recorded, std::string_view command)
{
    const auto mask = recorded.find(MASK);
    if (mask == std::string_view::npos) {
        return recorded.size() == command.size() && starts_with_ignoring_case(command, recorded);
    }
    if (!starts_with_ignoring_case(command, recorded.substr(0, mask))) {
        return false;
    }
    const auto behind = recorded.substr(mask + MASK.size());
    for (auto at = mask; at <= command.size(); ++at) {
        if (matches(behind, command.substr(at))) {
            return true;
        }
    }
    return false;
}

} // namespace

Replay::Replay(Recording recording)
    : recording_(std::move(recording)), taken_(recording_.exchanges.size()),
      left_(recording_.exchanges.size())
{
}

std::optional<Recording::Exchange> Replay::take(std::string_view command)
{
    for (std::size_t i = 0; i < recording_.exchanges.size(); ++i) {
        if (!taken_[i] && matches(recording_.exchanges[i].command, command)) {
            taken_[i] = true;
            --left_;
            return recording_.exchanges[i];
        }
    }
    return std::nullopt;
}

} // namespace bench
