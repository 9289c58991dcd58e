#include "report.hpp"

#include "dialogue.hpp"
#include "exit_status.hpp"
#include "history_model.hpp"
#include "utils/strings.hpp"
#include "utils/utc.hpp"

#include <cerrno>
#include <charconv>
#include <files/status.hpp>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

namespace celldctl {

namespace {

namespace chrono = std::chrono;
using Json = nlohmann::ordered_json;
using WallTime = chrono::system_clock::time_point;

constexpr std::string_view PLACE = "%DATA%";

std::int64_t milliseconds(WallTime time)
{
    return chrono::floor<chrono::milliseconds>(time).time_since_epoch().count();
}

enum class Content { RECORDING, JOURNAL, BUS };

/// By the first line that is no remark.
Content content_of(const std::string& path)
{
    std::error_code ignored;
    errno = 0;
    std::ifstream file(path);
    if (!file || std::filesystem::is_directory(files::status(path, ignored))) {
        throw Failure(FAILURE, utils::errno_text("cannot read " + path));
    }
    std::string line;
    while (std::getline(file, line) && (line.empty() || line.front() == '#')) {
    }
    if (line.starts_with('{')) {
        return Content::BUS;
    }
    if (is_recording(line)) {
        return Content::RECORDING;
    }
    if (line.find(" up_ms=") != std::string::npos) {
        return Content::JOURNAL;
    }
    throw Failure(UNREADABLE, path + " is no recording, no journal, and no output of monitor --json");
}

const char* word_of(Dialogue::Kind kind)
{
    switch (kind) {
    case Dialogue::Kind::EXCHANGE:
        return "exchange";
    case Dialogue::Kind::REPORT:
        return "report";
    case Dialogue::Kind::PORT:
        return "port";
    case Dialogue::Kind::REMARK:
        return "remark";
    }
    return "";
}

/// Wall times of one boot as its last line has them: a clock that was set on the way makes no gap.
std::vector<std::int64_t> times_of(const std::vector<Dialogue::Entry>& entries)
{
    std::vector<std::int64_t> times(entries.size());
    WallTime zero{};
    for (std::size_t i = entries.size(); i-- > 0;) {
        const bool other_boot = i + 1 == entries.size() || entries[i].up > entries[i + 1].up;
        if (other_boot) {
            zero = entries[i].wall - entries[i].up;
        }
        times[i] = milliseconds(chrono::time_point_cast<WallTime::duration>(zero + entries[i].up));
    }
    return times;
}

void add_recording(Json& rows, const std::string& path)
{
    const auto entries = read_dialogue({path}).entries;
    const auto times = times_of(entries);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const auto& entry = entries[i];
        Json row{{"t", times[i]}, {"kind", word_of(entry.kind)}, {"text", entry.text}};
        if (entry.kind == Dialogue::Kind::EXCHANGE) {
            row["took"] = entry.took.count();
            row["lines"] = entry.lines;
            row["result"] = entry.result;
            row["outcome"] = to_str(entry.outcome);
        }
        rows.push_back(std::move(row));
    }
}

/// "SEARCHING 12 s, RESET 3 s", which ends at `end`, as stretches of time.
Json road_of(std::string_view road, std::int64_t end)
{
    std::vector<std::pair<std::string, std::int64_t>> stays;
    while (!road.empty()) {
        const auto comma = road.find(", ");
        const auto stay = road.substr(0, comma);
        road.remove_prefix(comma == std::string_view::npos ? road.size() : comma + 2);
        const auto blank = stay.find(' ');
        std::int64_t seconds = 0;
        if (blank != std::string_view::npos && stay.ends_with(" s") &&
            std::from_chars(stay.data() + blank + 1, stay.data() + stay.size(), seconds).ec == std::errc()) {
            stays.emplace_back(stay.substr(0, blank), seconds);
        }
    }
    auto stretches = Json::array();
    for (auto stay = stays.rbegin(); stay != stays.rend(); ++stay) {
        const auto begin = end - stay->second * 1000;
        stretches.insert(stretches.begin(), Json{{"t", begin}, {"end", end}, {"value", stay->first}});
        end = begin;
    }
    return stretches;
}

void add_journal(Json& rows, const std::string& path)
{
    const auto contents = journal::read_file(path);
    if (contents.wrong) {
        throw Failure(FAILURE, "cannot read " + *contents.wrong);
    }
    for (const auto& row : history_of(contents).rows) {
        const auto time = milliseconds(row.time);
        rows.push_back({{"t", time},
                        {"what", journal::to_str(row.record.kind)},
                        {"reason", row.record.reason},
                        {"cause", row.record.cause},
                        {"road", road_of(row.record.road, time)}});
    }
}

void add_bus(Json& rows, const std::string& path)
{
    std::ifstream file(path);
    std::string line;
    for (std::size_t number = 1; std::getline(file, line); ++number) {
        if (line.empty()) {
            continue;
        }
        auto object = Json::parse(line, nullptr, false);
        const bool has_time = object.is_object() && object.contains("time") && object["time"].is_string();
        const auto time = has_time ? utils::utc_of(object["time"].get<std::string>()) : std::nullopt;
        if (!time) {
            throw Failure(UNREADABLE,
                          path + ", line " + std::to_string(number) + ": not a line of monitor --json");
        }
        object["t"] = milliseconds(*time);
        rows.push_back(std::move(object));
    }
}

/// In a script element: nothing in it ends that.
std::string for_script(const Json& data)
{
    auto text = data.dump(-1, ' ', true, Json::error_handler_t::replace);
    utils::replace(text, "<", "\\u003c");
    return text;
}

} // namespace

std::string report_html(const std::vector<std::string>& files)
{
    Json data{{"files", Json::array()},
              {"dialogue", Json::array()},
              {"journal", Json::array()},
              {"bus", Json::array()}};
    for (const auto& path : files) {
        data["files"].push_back(std::filesystem::path(path).filename().string());
        switch (content_of(path)) {
        case Content::RECORDING:
            add_recording(data["dialogue"], path);
            break;
        case Content::JOURNAL:
            add_journal(data["journal"], path);
            break;
        case Content::BUS:
            add_bus(data["bus"], path);
            break;
        }
    }
    std::string page(report_page());
    return page.replace(page.find(PLACE), PLACE.size(), for_script(data));
}

} // namespace celldctl
