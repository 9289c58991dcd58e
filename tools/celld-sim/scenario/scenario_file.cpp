#include "base/files.hpp"
#include "scenario/scenario.hpp"

#include <algorithm>
#include <fcntl.h>
#include <unistd.h>

namespace bench {
namespace {

constexpr std::size_t MAX_SIZE = MAX_SCENARIO_LINES * 100; ///< bytes; lines are shorter in the mean

bool is_text(char c)
{
    const auto byte = static_cast<unsigned char>(c);
    return (byte >= 0x20 && byte != 0x7F) || c == '\t';
}

/// At most one byte more than may be.
std::string read_some(const std::filesystem::path& file)
{
    const FileDescriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!descriptor) {
        throw_errno("unable to read " + file.string());
    }
    std::string text(MAX_SIZE + 1, '\0');
    std::size_t size = 0;
    while (size < text.size()) {
        const auto count = ::read(descriptor.get(), text.data() + size, text.size() - size);
        if (count < 0) {
            throw_errno("unable to read " + file.string());
        }
        if (count == 0) {
            break;
        }
        size += static_cast<std::size_t>(count);
    }
    text.resize(size);
    return text;
}

/// A line without its end, LF or CRLF.
std::string_view take_line(std::string_view& text)
{
    const auto end = std::min(text.find('\n'), text.size());
    auto line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.ends_with('\r')) {
        line.remove_suffix(1);
    }
    return line;
}

void check_form(std::string_view line, std::size_t number)
{
    if (!std::all_of(line.begin(), line.end(), is_text)) {
        throw BenchError("control characters; a scenario is plain text");
    }
    if (line.size() > MAX_SCENARIO_LINE) {
        throw BenchError("a line of " + std::to_string(line.size()) + " characters; " +
                         std::to_string(MAX_SCENARIO_LINE) + " may be");
    }
    if (number > MAX_SCENARIO_LINES) {
        throw BenchError("more than " + std::to_string(MAX_SCENARIO_LINES) + " lines");
    }
}

} // namespace

Scenario read_scenario(const std::filesystem::path& file, const CommandCheck& check)
{
    const auto all = read_some(file);
    if (all.size() > MAX_SIZE) {
        throw BenchError(file.string() + ": more than " + std::to_string(MAX_SIZE) + " bytes");
    }
    std::string_view left = all;
    Scenario scenario;
    std::size_t number = 0;
    try {
        while (!left.empty()) {
            const auto text = take_line(left);
            check_form(text, ++number);
            if (auto line = parse_scenario_line(text, check)) {
                line->number = number;
                scenario.push_back(std::move(*line));
            }
            if (scenario.size() == 1 && scenario.front().then) {
                throw BenchError("'then' without a line above; the first begins with 'at', 'on' or 'each'");
            }
        }
    } catch (const BenchError& error) {
        throw BenchError(file.string() + ", line " + std::to_string(number) + ": " + error.what());
    }
    if (scenario.empty()) {
        throw BenchError(file.string() + ": no event; a line is 'TRIGGER -> COMMAND'");
    }
    return scenario;
}

} // namespace bench
