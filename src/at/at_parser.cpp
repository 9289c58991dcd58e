#include "at/at_parser.hpp"

#include "utils/strings.hpp"

#include <ecu/kova/logging.hpp>

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

namespace {

using ecu::kova::logging::Level;

const auto& parser_log = ecu::kova::logging::module("celld.atparser");

constexpr std::string_view LINE_END = "\r\n";
constexpr int IDLE = 0;
constexpr int ACTIVE = 1;

// Final result codes (ITU-T V.250, 5.7.1; 3GPP TS 27.007, 9.2; TS 27.005, 3.2.5; "ABORTED" of the u-blox
// modules).
constexpr std::array<std::string_view, 5> FINAL_WORDS{"OK", "ERROR", "ABORTED", "+CME ERROR:", "+CMS ERROR:"};

bool is_final(std::string_view line)
{
    return std::any_of(FINAL_WORDS.begin(), FINAL_WORDS.end(),
                       [line](std::string_view word) { return line.substr(0, word.size()) == word; });
}

} // namespace

void AtParser::feed_input(std::string_view data)
{
    input_ += data;
    if (skipping_ && !resynchronise()) {
        return;
    }
    if (input_.find(LINE_END, looked_at_) != std::string::npos) {
        extract_responses();
    }
    // Its second half may come with the next piece.
    looked_at_ = input_.size() - (input_.ends_with(LINE_END.front()) ? 1 : 0);
    if (input_.size() > LIMIT) {
        parser_log.warning("Line without an end, ", input_.size(), " bytes dropped up to its end");
        cut_endless_line();
    }
}

// Whether the end of the cut line has come; what is kept then begins with a fresh line.
bool AtParser::resynchronise()
{
    const auto end = input_.find(LINE_END);
    if (end == std::string::npos) {
        cut_endless_line();
        return false;
    }
    input_.erase(0, end + LINE_END.size());
    looked_at_ = 0;
    skipping_ = false;
    return true;
}

void AtParser::cut_endless_line()
{
    const bool half_an_end = !input_.empty() && input_.back() == '\r';
    input_ = half_an_end ? "\r" : "";
    looked_at_ = 0;
    skipping_ = true;
}

void AtParser::extract_responses()
{
    std::size_t start = 0;
    for (auto end = input_.find(LINE_END, looked_at_); end != std::string::npos;
         end = input_.find(LINE_END, start)) {
        const auto line = std::string_view(input_).substr(start, end - start);
        if (parser_log.wants(Level::DEBUG)) {
            parser_log.debug("sub (start: ", start, ", pos: ", end, "): '",
                             utils::replace_crlf(std::string(line)), "' (", line.size(), ")");
        }
        start = end + LINE_END.size();
        if (!line.empty()) {
            classify(line);
        }
    }
    input_.erase(0, start);
    looked_at_ = 0;
}

void AtParser::classify(std::string_view line)
{
    const threads::MutexLock held(mutex_);
    if (is_final(line)) {
        if (state_ == ACTIVE) {
            finish(line);
        } else { // a late answer: nobody waits for it
            ++stray_finals_;
        }
        return;
    }
    if (state_ == IDLE) {
        append_unsolicited(line);
        return;
    }
    if (active_prefix_.empty() || line.find(active_prefix_) == std::string::npos) {
        skip_lost(line);
    }
    const bool own = line.find(active_prefix_) != std::string::npos;
    if (!own && line.find(": ") != std::string::npos) {
        append_unsolicited(line);
    } else {
        append_text(line); // its own, or bare data such as a serial number
    }
}

// The line of a query that was written later: what was written before it will not be answered any more.
void AtParser::skip_lost(std::string_view line)
{
    const auto follower = std::find_if(following_.begin(), following_.end(), [&line](const Following& f) {
        return f.is_marker && line.starts_with(f.prefix) && line.substr(f.prefix.size()).starts_with(':');
    });
    if (follower == following_.end()) {
        return;
    }
    for (auto lost = follower - following_.begin() + 1; lost > 0; --lost) {
        finish("");
    }
}

void AtParser::finish(std::string_view final_line)
{
    responses_.emplace_back(AtCommandResponse::Type::Final, response_text_, final_line);
    response_text_.clear();
    text_full_ = false;
    if (following_.empty()) {
        state_ = IDLE;
        active_prefix_.clear();
    } else {
        active_prefix_ = std::move(following_.front().prefix);
        following_.pop_front();
    }
}

void AtParser::append_text(std::string_view line)
{
    if (line.size() <= LIMIT - response_text_.size()) {
        response_text_ += line;
        return;
    }
    if (!std::exchange(text_full_, true)) {
        parser_log.warning("Answer to '", active_prefix_, "' is longer than ", LIMIT,
                           " bytes, the rest is dropped");
    }
}

void AtParser::append_unsolicited(std::string_view line)
{
    if (line.size() <= LIMIT - queued_bytes_) {
        responses_.emplace_back(AtCommandResponse::Type::Unsolicited, line, "");
        queued_bytes_ += line.size();
        return;
    }
    if (!std::exchange(queue_full_, true)) {
        parser_log.warning("More than ", LIMIT, " bytes of unsolicited results wait, the newest are dropped");
    }
}

std::vector<AtCommandResponse> AtParser::take_responses()
{
    queued_bytes_ = 0;
    queue_full_ = false;
    return std::exchange(responses_, {});
}

std::size_t AtParser::take_stray_finals()
{
    return std::exchange(stray_finals_, 0);
}

void AtParser::active_command(const AtCommand& command)
{
    auto prefix = command.prefix();
    {
        const threads::MutexLock held(mutex_);
        state_ = ACTIVE;
        active_prefix_ = prefix;
        following_.clear();
    }
    parser_log.debug("active_command: ", prefix);
}

void AtParser::following_command(const AtCommand& command, bool is_marker)
{
    const threads::MutexLock held(mutex_);
    following_.push_back({command.prefix(), is_marker});
}

void AtParser::forget()
{
    timeout_active_command();
    static_cast<void>(take_responses());
    input_.clear();
    looked_at_ = 0;
    skipping_ = false;
    const threads::MutexLock held(mutex_);
    response_text_.clear();
    text_full_ = false;
}

void AtParser::timeout_active_command()
{
    const threads::MutexLock held(mutex_);
    state_ = IDLE;
    active_prefix_.clear();
    following_.clear();
}
