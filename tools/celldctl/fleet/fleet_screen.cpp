#include "fields.hpp"
#include "fleet/fleet_views.hpp"
#include "freshness.hpp"

#include <algorithm>

namespace celldctl {

namespace {

constexpr std::size_t TIME_WIDTH = 8; // without the milliseconds
constexpr std::size_t UNIT_WIDTH = 20;

Style style_of(const UnitRecord& unit)
{
    if (unit.condition != Condition::UP || unit.two_senders ||
        unit.state == ecu::kova::pb::ModemStatus::FAILED) {
        return Style::BAD;
    }
    return unit.state == ecu::kova::pb::ModemStatus::CONNECTED ? Style::PLAIN : Style::WARNING;
}

std::string foot(std::size_t first, std::size_t shown, std::size_t all, const FleetChoice& choice)
{
    return std::to_string(shown == 0 ? 0 : first + 1) + " to " + std::to_string(first + shown) + " of " +
           std::to_string(all) + " by " + choice.sort + (choice.reverse ? ", reversed" : "") +
           "   s sorts, r reverses, n and p turn the page, q ends";
}

/// Room for rows between `used` lines above and the foot.
std::size_t room(const ScreenSize& size, std::size_t used)
{
    return size.rows > used + 1 ? size.rows - used - 1 : 0;
}

} // namespace

std::string fleet_text(const FleetNews& news)
{
    return time_text(news.when, true) + "  " + padded(printable(news.unit), UNIT_WIDTH) + ' ' + news.text +
           '\n';
}

std::string left_out_text(const FleetModel::Left& left)
{
    std::string text;
    const auto add = [&text](std::uint64_t count, const std::string& what) {
        if (count > 0) {
            text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + what;
        }
    };
    add(left.ids, "messages below ids that are none");
    add(left.units, "messages of units beyond " + std::to_string(FleetModel::MOST_UNITS));
    add(left.news, "changes that come faster than they can be written");
    return text.empty() ? text : "left out: " + text;
}

std::vector<ScreenLine> fleet_screen(const FleetModel& model, FleetPage& page, FleetTime now,
                                     const std::string& broker, const ScreenSize& size)
{
    std::vector<ScreenLine> lines;
    const auto add = [&](const std::string& text, Style style) {
        lines.push_back({clipped(text, size.columns), style});
    };
    add("celldctl fleet  " + broker + "  " + time_text(now, false).substr(0, TIME_WIDTH) + "Z", Style::TITLE);
    add(fleet_summary(model), Style::PLAIN);
    if (!page.trouble.empty()) {
        add("connection " + page.trouble, Style::BAD);
    }
    if (const auto left = left_out_text(model.left_out()); !left.empty()) {
        add(left, Style::WARNING);
    }
    add(fleet_head(), Style::TITLE);
    const auto rows = fleet_rows(model, page.choice, now);
    const auto most = room(size, lines.size());
    page.first = std::min(page.first, rows.empty() || most == 0 ? 0 : (rows.size() - 1) / most * most);
    const auto end = std::min(rows.size(), page.first + most);
    for (auto index = page.first; index < end; ++index) {
        add(fleet_line(rows[index], now), style_of(rows[index].unit));
    }
    add(foot(page.first, end - page.first, rows.size(), page.choice), Style::PLAIN);
    lines.resize(std::min(lines.size(), size.rows));
    return lines;
}

} // namespace celldctl
