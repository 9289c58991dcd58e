#include "modem/journal.hpp"

#include "record/journal_file.hpp"

#include <ecu/kova/logging.hpp>
#include <ecu/kova/root.hpp>

#include <algorithm>
#include <fstream>
#include <utility>

namespace {

namespace pb = ecu::kova::pb;
using S = ModemState;
using Kind = JournalRecord::Kind;

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem.state");

constexpr std::size_t BACKLOG = 256; // lines, while the disk is slow
constexpr std::size_t MAX_STAYS = 12;
constexpr std::size_t BOOT_ID_DIGITS = 8; // of its 32 hexadecimal ones; enough to tell boots apart
constexpr const char* BOOT_ID_PATH = "/proc/sys/kernel/random/boot_id"; // random(4)

std::string short_text(ModemState state)
{
    const auto text = state_text(state);
    return text.substr(text.rfind(':') + 1);
}

std::string boot_id()
{
    std::ifstream file(ecu::kova::rooted(BOOT_ID_PATH));
    std::string id;
    std::getline(file, id);
    id.resize(std::min(id.size(), BOOT_ID_DIGITS));
    const bool is_one = !id.empty() && id.find_first_not_of("0123456789abcdef") == std::string::npos;
    return is_one ? id : "-";
}

} // namespace

Journal::Journal(const ModemData& data, const Clock& clock)
    : data_(data), clock_(clock), writer_({journal::file(), BACKLOG, "The journal", LOG}),
      down_since_(clock.now()), allowance_of_(clock.now())
{
    const auto before = journal::read();
    if (before.wrong) {
        LOG.warning("The journal of earlier runs cannot be read (", *before.wrong,
                    "); the counts begin anew");
    }
    if (!before.records.empty()) {
        const auto& last = before.records.back();
        totals_.run = last.run;
        totals_.in_a_row = last.in_a_row;
        totals_.resets = last.resets;
        totals_.connections = last.connections;
        totals_.connected = last.connected;
    }
    ++totals_.run;
    totals_.boot = boot_id();
}

void Journal::started()
{
    road_.push_back({short_text(S::OFF), clock_.now()});
    write(Kind::START, "", "the service has started");
}

void Journal::changed(const StateChange& change)
{
    if (change.to == S::POWER_OFF) { // OFF follows, and is what is written
        going_off_ = {change.cause, short_text(change.from), end_connection()};
    } else if (change.to == S::CONNECTED) {
        begin_connection();
        write(Kind::CONNECTED, short_text(change.from), change.cause, since(down_since_));
    } else {
        record_end_of(change);
    }
    road_.push_back({short_text(change.to), clock_.now()});
    if (road_.size() > MAX_STAYS) {
        road_.pop_front();
        ++road_cut_;
    }
}

void Journal::record_end_of(const StateChange& change)
{
    const auto from = short_text(change.from);
    const auto lasted = end_connection();
    if (change.to == S::RESET) {
        ++totals_.resets;
        ++totals_.in_a_row;
        write(Kind::RESET, from, change.cause, lasted);
    } else if (change.to == S::DTC_HW_ERROR) {
        write(Kind::FAULT, from, change.cause, lasted);
    } else if (change.to == S::OFF && change.from != S::RESET) { // a reset's own is the reset's
        const bool announced = change.from == S::POWER_OFF;
        const auto& off = announced ? going_off_ : GoingOff{change.cause, from, lasted};
        write(Kind::OFF, off.from, off.cause, off.lasted);
    } else if (lasted) {
        write(Kind::LOST, from, change.cause, lasted);
    }
}

void Journal::ended(ModemState state)
{
    if (is_off_) {
        return;
    }
    const auto lasted = end_connection();
    write(Kind::END, short_text(state), "the service has ended", lasted);
}

void Journal::begin_connection()
{
    connected_since_ = clock_.now();
    ++totals_.connections;
    totals_.in_a_row = 0;
}

/// How long it was, if there was one.
std::optional<std::chrono::seconds> Journal::end_connection()
{
    if (!connected_since_) {
        return std::nullopt;
    }
    const auto lasted = since(*connected_since_);
    totals_.connected += lasted;
    connected_since_.reset();
    down_since_ = clock_.now();
    return lasted;
}

bool Journal::may_write_another()
{
    const auto earned = (clock_.now() - allowance_of_) / ONE_MORE_AFTER;
    if (earned > 0) {
        allowance_ = static_cast<unsigned>(std::min<std::int64_t>(allowance_ + earned, MAX_AT_ONCE));
        allowance_of_ += earned * ONE_MORE_AFTER;
    }
    if (allowance_ == 0) {
        return false;
    }
    --allowance_;
    return true;
}

void Journal::write(Kind kind, const std::string& from, const std::string& cause,
                    std::optional<std::chrono::seconds> lasted)
{
    is_off_ = kind == Kind::OFF;
    if ((kind == Kind::LOST || kind == Kind::CONNECTED) && !may_write_another()) {
        ++totals_.unwritten;
        return;
    }
    JournalRecord record = totals_;
    record.kind = kind;
    record.wall = clock_.wall_now();
    record.up = std::chrono::floor<std::chrono::milliseconds>(clock_.now().time_since_epoch());
    record.from = from;
    record.cause = cause;
    record.lasted = lasted;
    record.road = take_road();
    if (kind == Kind::RESET) {
        record.reason = pb::ModemStatus_ModemResetReason_Name(data_.pb_reset_reason());
    }
    totals_.unwritten = 0;
    writer_.write(journal::to_line(record));
}

/// "... SEARCHING 12 s, RESET 3 s"
std::string Journal::take_road()
{
    std::string text = road_cut_ == 0 ? "" : std::to_string(road_cut_) + " before, ";
    for (std::size_t i = 0; i < road_.size(); ++i) {
        const auto end = i + 1 < road_.size() ? road_[i + 1].since : clock_.now();
        const auto lasted = std::chrono::floor<std::chrono::seconds>(end - road_[i].since).count();
        text += (i == 0 ? "" : ", ") + road_[i].state + ' ' + std::to_string(lasted) + " s";
    }
    road_.clear();
    road_cut_ = 0;
    return text;
}

std::chrono::seconds Journal::since(Clock::time_point time) const
{
    return std::chrono::floor<std::chrono::seconds>(clock_.now() - time);
}
