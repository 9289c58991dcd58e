#include "dialogue.hpp"

#include "exit_status.hpp"
#include "utils/strings.hpp"
#include "utils/utc.hpp"

#include <algorithm>
#include <charconv>
#include <files/status.hpp>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace celldctl {

namespace {

using Entry = Dialogue::Entry;
using Kind = Dialogue::Kind;
using Outcome = Dialogue::Outcome;

constexpr std::size_t LONGEST_LINE = 64UL * 1024; // of a file that anybody may have written
constexpr std::size_t MAX_ENTRIES = 1'000'000;    // some days

struct Line {
    std::chrono::system_clock::time_point wall;
    std::chrono::milliseconds up{0};
    char mark = '#';
    std::string text;
};

/// "5025.123"
std::optional<std::chrono::milliseconds> up_of(std::string_view text)
{
    const auto point = text.find('.');
    std::uint32_t seconds = 0;
    std::uint32_t thousandths = 0;
    if (point == std::string_view::npos || text.size() != point + 4) {
        return std::nullopt;
    }
    const auto* const end = text.data() + text.size();
    if (std::from_chars(text.data(), text.data() + point, seconds).ptr != text.data() + point ||
        std::from_chars(text.data() + point + 1, end, thousandths).ptr != end) {
        return std::nullopt;
    }
    return std::chrono::seconds(seconds) + std::chrono::milliseconds(thousandths);
}

std::optional<Line> parse(std::string_view text)
{
    if (text.empty() || text.front() == '#') {
        return Line{{}, {}, '#', std::string(text)};
    }
    const auto wall_end = std::min(text.find(' '), text.size());
    const auto up_end = text.find(' ', std::min(wall_end + 1, text.size()));
    if (up_end == std::string_view::npos || text.size() < up_end + 3 || text[up_end + 2] != ' ') {
        return std::nullopt;
    }
    const auto wall = utils::utc_of(text.substr(0, wall_end));
    const auto up = up_of(text.substr(wall_end + 1, up_end - wall_end - 1));
    if (!wall || !up) {
        return std::nullopt;
    }
    return Line{*wall, *up, text[up_end + 1], std::string(text.substr(up_end + 3))};
}

bool is_final(std::string_view line)
{
    return line == "OK" || line == "ERROR" || line == "ABORTED" || line.starts_with("+CME ERROR") ||
           line.starts_with("+CMS ERROR");
}

Outcome outcome_of(std::string_view given_up)
{
    if (given_up.starts_with("time-out")) {
        return Outcome::TIME_OUT;
    }
    return given_up.starts_with("not sent") ? Outcome::NOT_SENT : Outcome::INTERRUPTED;
}

class Builder {
public:
    explicit Builder(std::vector<Entry>& entries) : entries_(entries) {}

    void take(const Line& line)
    {
        switch (line.mark) {
        case '>':
            begin(Kind::EXCHANGE, line);
            open_ = entries_.size() - 1;
            break;
        case '<':
            received(line);
            break;
        case '!':
            given_up(line);
            break;
        case '=':
            close(line, Outcome::INTERRUPTED);
            begin(Kind::PORT, line);
            break;
        case '#':
            if (!line.text.empty()) {
                begin(Kind::REMARK, line);
                auto& remark = entries_.back();
                remark.wall = last_.wall;
                remark.up = last_.up;
            }
            break;
        default: // of a later version
            break;
        }
        if (line.mark != '#') {
            last_ = line;
        }
    }

private:
    void begin(Kind kind, const Line& line)
    {
        Entry entry;
        entry.kind = kind;
        entry.wall = line.wall;
        entry.up = line.up;
        entry.text = line.text;
        entries_.push_back(std::move(entry));
    }

    void received(const Line& line)
    {
        if (!open_) {
            begin(Kind::REPORT, line);
        } else if (is_final(line.text)) {
            entries_[*open_].result = line.text;
            close(line, line.text == "OK" ? Outcome::OK : Outcome::FAILED);
        } else {
            entries_[*open_].lines.push_back(line.text);
        }
    }

    void given_up(const Line& line)
    {
        if (open_) {
            close(line, outcome_of(line.text));
            return;
        }
        const auto command = line.text.find("AT"); // one that was not even written
        begin(Kind::EXCHANGE, line);
        entries_.back().text = line.text.substr(std::min(command, line.text.size()));
        entries_.back().outcome = outcome_of(line.text);
    }

    void close(const Line& line, Outcome outcome)
    {
        if (open_) {
            auto& entry = entries_[*open_];
            entry.outcome = outcome;
            entry.took = std::max(line.up - entry.up, std::chrono::milliseconds(0));
            open_.reset();
        }
    }

    std::vector<Entry>& entries_;
    std::optional<std::size_t> open_; // the exchange without a final line
    Line last_;
};

void read_file(const std::string& path, Builder& builder, const Dialogue& dialogue)
{
    std::error_code ignored;
    errno = 0;
    std::ifstream file(path);
    if (!file || std::filesystem::is_directory(files::status(path, ignored))) {
        throw Failure(FAILURE, utils::errno_text("cannot read " + path));
    }
    std::string text;
    for (std::size_t number = 1; std::getline(file, text); ++number) {
        const auto line = text.size() > LONGEST_LINE ? std::nullopt : parse(text);
        if (!line) {
            throw Failure(UNREADABLE,
                          path + ", line " + std::to_string(number) + ": not a line of a recording");
        }
        if (dialogue.entries.size() >= MAX_ENTRIES) {
            throw Failure(UNREADABLE, path + ": more than a million entries");
        }
        builder.take(*line);
    }
}

} // namespace

Dialogue read_dialogue(const std::vector<std::string>& files)
{
    Dialogue dialogue;
    Builder builder(dialogue.entries);
    for (const auto& file : files) {
        read_file(file, builder, dialogue);
    }
    return dialogue;
}

bool is_recording(const std::string& line)
{
    const auto parsed = parse(line);
    return parsed && parsed->mark != '#';
}

const char* to_str(Outcome outcome)
{
    switch (outcome) {
    case Outcome::OK:
        return "OK";
    case Outcome::FAILED:
        return "failed";
    case Outcome::TIME_OUT:
        return "TIME-OUT";
    case Outcome::INTERRUPTED:
        return "interrupted";
    case Outcome::NOT_SENT:
        return "not sent";
    case Outcome::OPEN:
        return "no end";
    }
    return "";
}

} // namespace celldctl
