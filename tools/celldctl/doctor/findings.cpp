#include "doctor/findings.hpp"

#include "fields.hpp"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace celldctl {

namespace {

const char* word(Level level)
{
    switch (level) {
    case Level::OK:
        return "ok";
    case Level::WARNING:
        return "warning";
    case Level::ERROR:
        return "error";
    }
    return "error";
}

std::string counted(std::size_t count, const std::string& what)
{
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

} // namespace

void Findings::ok(std::string text)
{
    add(Level::OK, std::move(text), {});
}

void Findings::warning(std::string text, std::string next)
{
    add(Level::WARNING, std::move(text), std::move(next));
}

void Findings::error(std::string text, std::string next)
{
    add(Level::ERROR, std::move(text), std::move(next));
}

std::size_t Findings::count(Level level) const
{
    return static_cast<std::size_t>(std::count_if(
        all_.begin(), all_.end(), [level](const auto& finding) { return finding.level == level; }));
}

void Findings::add(Level level, std::string text, std::string next)
{
    all_.push_back({level, area_, std::move(text), std::move(next)});
}

std::string findings_text(const Findings& findings)
{
    constexpr std::size_t LEVEL_WIDTH = 9;
    std::string text;
    for (const auto& finding : findings.all()) {
        std::string level = word(finding.level);
        level.resize(LEVEL_WIDTH, ' ');
        text += level + finding.area + ": " + printable(finding.text) + '\n';
        if (!finding.next.empty()) {
            text += std::string(LEVEL_WIDTH, ' ') + "-> " + printable(finding.next) + '\n';
        }
    }
    return text + counted(findings.count(Level::ERROR), "error") + ", " +
           counted(findings.count(Level::WARNING), "warning") + '\n';
}

std::string findings_json(const Findings& findings)
{
    using Json = nlohmann::ordered_json;
    auto root = Json::object();
    root["errors"] = findings.count(Level::ERROR);
    root["warnings"] = findings.count(Level::WARNING);
    root["findings"] = Json::array();
    for (const auto& finding : findings.all()) {
        auto object = Json::object();
        object["level"] = word(finding.level);
        object["area"] = finding.area;
        object["text"] = finding.text;
        if (!finding.next.empty()) {
            object["next"] = finding.next;
        }
        root["findings"].push_back(std::move(object));
    }
    const int indent = 2;
    const bool ascii = true;
    return root.dump(indent, ' ', ascii, Json::error_handler_t::replace) + '\n';
}

} // namespace celldctl
