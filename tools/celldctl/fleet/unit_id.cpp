#include "fleet/unit_id.hpp"

#include "fields.hpp"

namespace celldctl {

std::optional<std::string> fault_of_unit_id(std::string_view id)
{
    if (id.empty()) {
        return "it is empty";
    }
    if (id.size() > LONGEST_UNIT_ID) {
        return "it is longer than " + std::to_string(LONGEST_UNIT_ID) + " bytes";
    }
    if (const auto found = id.find_first_of("/+#"); found != std::string_view::npos) {
        return std::string("it has a '") + id[found] + "' in it, which has a meaning in topics";
    }
    std::string text(id);
    std::erase_if(text, [](char character) { return character == '"' || character == '\\'; });
    if (printable(text) != text) {
        return "it has control characters in it, or is no UTF-8";
    }
    return std::nullopt;
}

std::optional<UnitTopic> unit_topic_of(std::string_view topic)
{
    if (!topic.starts_with(UNITS)) {
        return std::nullopt;
    }
    topic.remove_prefix(UNITS.size());
    const auto end = topic.find('/');
    if (end == std::string_view::npos) {
        return std::nullopt;
    }
    return UnitTopic{topic.substr(0, end), topic.substr(end + 1)};
}

} // namespace celldctl
