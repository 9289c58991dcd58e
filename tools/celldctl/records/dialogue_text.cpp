#include "dialogue.hpp"
#include "freshness.hpp"

#include <array>
#include <cstdio>

namespace celldctl {

namespace {

constexpr std::size_t COMMAND_WIDTH = 40;
constexpr const char* MARGIN = "                ";

std::string padded(std::string text, std::size_t width)
{
    text.resize(std::max(text.size(), width), ' ');
    return text;
}

/// A recording is printable ASCII; whatever else is in the file does not reach the terminal.
std::string plain_text(std::string text)
{
    for (char& c : text) {
        c = c >= ' ' && c <= '~' ? c : '?';
    }
    return text;
}

/// "   37 ms", "10.000 s"
std::string took_text(std::chrono::milliseconds took)
{
    std::array<char, 32> text{};
    if (took < std::chrono::seconds(1)) {
        static_cast<void>(
            std::snprintf(text.data(), text.size(), "%5lld ms", static_cast<long long>(took.count())));
    } else {
        static_cast<void>(std::snprintf(text.data(), text.size(), "%lld.%03lld s",
                                        static_cast<long long>(took.count() / 1000),
                                        static_cast<long long>(took.count() % 1000)));
    }
    return text.data();
}

std::string exchange_text(const Dialogue::Entry& entry)
{
    const bool plain = entry.outcome == Dialogue::Outcome::OK;
    std::string text =
        padded(plain_text(entry.text), COMMAND_WIDTH) + ' ' + padded(took_text(entry.took), 10) + ' ';
    text += plain || entry.result.empty() ? to_str(entry.outcome) : plain_text(entry.result);
    text += '\n';
    for (const auto& line : entry.lines) {
        text += MARGIN + std::string("  ") + plain_text(line) + '\n';
    }
    return text;
}

} // namespace

std::string entry_text(const Dialogue::Entry& entry)
{
    const auto time = padded(time_text(entry.wall, false), std::string(MARGIN).size());
    switch (entry.kind) {
    case Dialogue::Kind::EXCHANGE:
        return time + exchange_text(entry);
    case Dialogue::Kind::REPORT:
        return time + "< " + plain_text(entry.text) + '\n';
    case Dialogue::Kind::PORT:
        return time + "= port " + plain_text(entry.text) + '\n';
    case Dialogue::Kind::REMARK:
        return padded("", std::string(MARGIN).size()) + plain_text(entry.text) + '\n';
    }
    return {};
}

} // namespace celldctl
