#pragma once

#include "fleet/fleet_rows.hpp"
#include "watch/watch_screen.hpp"

#include <string>
#include <vector>

namespace celldctl {

/// One object, ASCII, with a line feed (docs/fleet.md): what is known of the unit, and of the news what and
/// when.
std::string fleet_json(const FleetRow& row, FleetTime now);
std::string fleet_json(const FleetNews& news);
/// One line with its line feed.
std::string fleet_text(const FleetNews& news);

/// "12 messages below ids that are none, ..."; empty when nothing is left out.
std::string left_out_text(const FleetModel::Left& left);

struct FleetPage {
    FleetChoice choice;
    std::size_t first = 0; ///< of the rows
    std::string trouble;   ///< of the connection
};

/// Never more lines or columns than there are. Pure, save that a page behind the end becomes the last one.
std::vector<ScreenLine> fleet_screen(const FleetModel& model, FleetPage& page, FleetTime now,
                                     const std::string& broker, const ScreenSize& size);

} // namespace celldctl
