#include "at/at_recording.hpp"

#include "at/at_text.hpp"
#include "utils/utc.hpp"

#include <ecu/kova/logging.hpp>

#include <array>
#include <cstdio>
#include <sys/stat.h>

namespace {

const auto& port_log = ecu::kova::logging::module("celld.atport");

constexpr std::size_t BACKLOG = 2000;            // lines, while the disk is slow; some minutes of dialogue
constexpr std::size_t LONGEST_LINE = 2048;       // received without an end; the rest goes on in the next
constexpr mode_t OWNER_ONLY = S_IRUSR | S_IWUSR; // it has identities in it

/// One line of it, whatever the bytes: controls, backslashes and what is no ASCII become \xNN.
std::string escaped(std::string_view text)
{
    std::string clean;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte < 0x7f && c != '\\') {
            clean += c;
            continue;
        }
        std::array<char, 5> hex{};
        static_cast<void>(std::snprintf(hex.data(), hex.size(), "\\x%02X", static_cast<unsigned>(byte)));
        clean += hex.data();
    }
    return clean;
}

std::string_view without_end(std::string_view line)
{
    const auto last = line.find_last_not_of("\r\n");
    return line.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

} // namespace

AtRecording::AtRecording(const Clock& clock)
    : clock_(clock), writer_({{PATH, LIMIT, OWNER_ONLY, false}, BACKLOG, "The recording", port_log})
{
    port_log.notice("The AT dialogue is recorded in ", PATH, " (", CONFIG_KEY, ")");
}

void AtRecording::opened(std::string_view device)
{
    write('=', "opened " + std::string(device));
}

void AtRecording::closed(bool hung_up)
{
    end_of_line();
    write('=', hung_up ? "hung up" : "closed");
}

void AtRecording::sent(std::string_view bytes)
{
    write('>', at::mask_secrets(without_end(bytes)));
}

void AtRecording::received(std::string_view bytes)
{
    for (const char c : bytes) {
        if (c == '\n' || line_.size() >= LONGEST_LINE) {
            end_of_line();
        }
        if (c != '\n') {
            line_ += c;
        }
    }
}

void AtRecording::end_of_line()
{
    const auto line = without_end(line_);
    if (!line.empty()) {
        write('<', at::mask_secrets(line)); // an echoed command has its secrets too
    }
    line_.clear();
}

void AtRecording::given_up(std::string_view command, std::string_view why)
{
    write('!', std::string(why) + ' ' + at::mask_secrets(without_end(command)));
}

void AtRecording::write(char mark, std::string_view text)
{
    const auto up = std::chrono::floor<std::chrono::milliseconds>(clock_.now().time_since_epoch()).count();
    std::array<char, 32> seconds{};
    static_cast<void>(std::snprintf(seconds.data(), seconds.size(), "%lld.%03lld",
                                    static_cast<long long>(up / 1000), static_cast<long long>(up % 1000)));
    writer_.write(utils::utc_text(clock_.wall_now()) + ' ' + seconds.data() + ' ' + mark + ' ' +
                  escaped(text));
}
