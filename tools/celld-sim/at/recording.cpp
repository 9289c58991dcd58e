#include "at/recording.hpp"

#include "at/at_answer.hpp"
#include "base/files.hpp"

#include <charconv>
#include <fstream>
#include <string_view>

namespace bench {
namespace {

using std::chrono::milliseconds;

struct Line {
    milliseconds time{0};
    char mark = '#';
    std::string text;
};

/// "\xNN" to its byte.
std::string unescaped(std::string_view text)
{
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned value = 0;
        if (text.substr(i, 2) == "\\x" && i + 4 <= text.size() &&
            std::from_chars(text.data() + i + 2, text.data() + i + 4, value, 16).ptr == text.data() + i + 4) {
            plain += static_cast<char>(value);
            i += 3;
        } else {
            plain += text[i];
        }
    }
    return plain;
}

/// "5025.123"
std::optional<milliseconds> time_of(std::string_view text)
{
    const auto point = text.find('.');
    std::int64_t seconds = 0;
    std::int64_t thousandths = 0;
    if (point == std::string_view::npos || text.size() != point + 4 || point > 12 ||
        std::from_chars(text.data(), text.data() + point, seconds).ptr != text.data() + point ||
        std::from_chars(text.data() + point + 1, text.data() + text.size(), thousandths).ptr !=
            text.data() + text.size() ||
        seconds < 0 || thousandths < 0) {
        return std::nullopt;
    }
    return milliseconds(seconds * 1000 + thousandths);
}

/// <wall time> <seconds> <mark> <text>
std::optional<Line> parse(std::string_view text)
{
    if (text.starts_with('#')) {
        return Line{};
    }
    const auto wall = text.find(' ');
    const auto up = wall == std::string_view::npos ? wall : text.find(' ', wall + 1);
    if (up == std::string_view::npos || text.size() < up + 3 || text[up + 2] != ' ') {
        return std::nullopt;
    }
    const auto time = time_of(text.substr(wall + 1, up - wall - 1));
    return time ? std::optional(Line{*time, text[up + 1], unescaped(text.substr(up + 3))}) : std::nullopt;
}

class Reader {
public:
    void take(const Line& line)
    {
        if (line.mark == '>') {
            recording_.exchanges.push_back({line.text, {}, {}, {}, {}});
            sent_ = since_ = line.time;
            open_ = true;
        } else if (recording_.exchanges.empty()) {
            return;
        } else if (line.mark == '<') {
            received(line);
        } else if (line.mark == '!') {
            give_up();
        } else if (line.mark == '=' && line.text == "hung up") {
            give_up();
            event(line.time, "");
        }
    }
    Recording recording() &&
    {
        if (!recording_.exchanges.empty()) {
            give_up();
        }
        return std::move(recording_);
    }

private:
    void received(const Line& line)
    {
        auto& exchange = recording_.exchanges.back();
        if (!open_) {
            event(line.time, line.text);
        } else if (line.text == exchange.command) {
            return; // its echo, which the bench's module makes itself
        } else if (is_final(line.text)) {
            exchange.result = line.text;
            exchange.delay = line.time - sent_;
            since_ = line.time;
            open_ = false;
        } else {
            exchange.lines.push_back(line.text);
            times_.push_back(line.time);
        }
        if (!open_) {
            times_.clear();
        }
    }

    /// No final line came: what did come, came by itself.
    void give_up()
    {
        auto& exchange = recording_.exchanges.back();
        if (!open_) {
            return;
        }
        for (std::size_t i = 0; i < exchange.lines.size(); ++i) {
            event(times_[i], exchange.lines[i]);
        }
        exchange.lines.clear();
        times_.clear();
        open_ = false;
    }

    void event(milliseconds time, const std::string& line)
    {
        recording_.exchanges.back().events.push_back({std::max(time - since_, milliseconds(0)), line});
    }

    Recording recording_;
    std::vector<milliseconds> times_; // of the open exchange's lines
    milliseconds sent_{0};
    milliseconds since_{0};
    bool open_ = false; // the newest exchange
};

} // namespace

Recording read_recording(const std::filesystem::path& file)
{
    std::ifstream in(file);
    if (!in || !std::filesystem::is_regular_file(file)) {
        throw BenchError("cannot read the recording " + file.string());
    }
    Reader reader;
    std::string text;
    for (std::size_t number = 1; std::getline(in, text); ++number) {
        if (text.empty()) {
            continue;
        }
        const auto line = parse(text);
        if (!line) {
            throw BenchError(file.string() + ", line " + std::to_string(number) +
                             " is no line of a recording");
        }
        reader.take(*line);
    }
    return std::move(reader).recording();
}

} // namespace bench
