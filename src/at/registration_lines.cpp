#include "at/registration_lines.hpp"

#include "at/fields.hpp"
#include "data/defs.hpp"

#include <algorithm>

namespace registration {
namespace {

using at::Field;
using at::Fields;

constexpr int MAX_STATUS = 99;            // <stat>: whatever two digits say
constexpr int MAX_REPORT_MODE = 5;        // <n>
constexpr int MAX_ACCESS_TECHNOLOGY = 15; // <AcT> as of release 16
constexpr std::size_t CODE_DIGITS = 4;    // of an area or cell, at least; a padded small number has fewer

/// A number from 0 to `limit`, however padded, that is no area or cell.
bool is_small(const Field& field, int limit)
{
    const auto value = field.decimal();
    return value && *value >= 0 && *value <= limit && field.text.size() < CODE_DIGITS;
}

/// An <AcT> of the standard, or the 255 that some firmware says for "unknown".
bool is_access_technology(const Field& field)
{
    return is_small(field, MAX_ACCESS_TECHNOLOGY) || field.text == std::to_string(defs::RAT_INVALID);
}

/// Unknown when the field is there but empty or names none; nothing when it is no number.
std::optional<int> access_technology(const Field& field)
{
    if (field.empty()) {
        return defs::RAT_INVALID;
    }
    const auto value = field.decimal();
    const bool known = value && *value >= 0 && *value <= MAX_ACCESS_TECHNOLOGY;
    return value && !known ? defs::RAT_INVALID : value;
}

/// Some LTE firmware puts a routing area between tracking area and cell: <tac>,<rac>,<ci>,<AcT>. `third` is
/// then the cell, and <AcT> otherwise.
bool has_inserted_routing_area(const Field& third, const Field& fourth)
{
    if (third.empty() || is_access_technology(third)) {
        return false;
    }
    return fourth.empty() || is_access_technology(fourth);
}

/// An area or cell: 0 when the field is empty, nothing when it holds anything but a hexadecimal number.
std::optional<std::uint32_t> place(const Field& field)
{
    return field.empty() ? std::optional<std::uint32_t>(0) : field.hex();
}

/// Quoted as in 27.007 ("02", hexadecimal), or the bare decimal that the module's manual shows.
std::optional<std::uint32_t> routing_area(const Field& field)
{
    if (const auto number = field.decimal(); number && !field.quoted && *number >= 0) {
        return static_cast<std::uint32_t>(*number);
    }
    return field.hex();
}

/// As a scan would, the cell is read only behind an area that can be.
void read_place(const Fields& fields, std::size_t area_at, std::size_t cell_at, Update& update)
{
    if (fields.size() > area_at) {
        update.area = place(fields[area_at]);
    }
    if (update.area && fields.size() > cell_at) {
        update.cell = place(fields[cell_at]);
    }
}

// <stat>[,<lac>,<ci>[,<AcT>[,<rac>]]]; EPS:
// <stat>[,<tac>[,<rac>],<ci>[,<AcT>[,<cause_type>,<reject_cause>]]]
std::optional<Update> read(Domain domain, const Fields& fields, std::size_t status_at)
{
    Update update;
    if (!fields.read(status_at, update.status)) {
        return std::nullopt;
    }
    const std::size_t area_at = status_at + 1; // beyond the last for the short form
    const bool inserted =
        domain == Domain::EPS && has_inserted_routing_area(fields[area_at + 2], fields[area_at + 3]);
    const std::size_t cell_at = area_at + (inserted ? 2 : 1);
    const std::size_t technology_at = cell_at + 1;
    read_place(fields, area_at, cell_at, update);
    if (inserted) {
        update.routing_area = fields[area_at + 1].hex();
    }
    if (fields.size() > technology_at) {
        update.access_technology = access_technology(fields[technology_at]);
    }
    if (domain == Domain::PS) {
        update.routing_area = routing_area(fields[technology_at + 1]);
    }
    if (domain == Domain::EPS) {
        update.cause_type = fields[technology_at + 1].decimal();
        update.reject_cause = fields[technology_at + 2].decimal();
    }
    return update;
}

/// <n>,<stat>: two small bare numbers in front, where a report has its status alone or an area code second.
bool has_answer_shape(const Fields& fields)
{
    return is_small(fields[0], MAX_REPORT_MODE) && !fields[1].quoted && is_small(fields[1], MAX_STATUS);
}

bool is_bare_code(const Field& field)
{
    return field.text.size() >= CODE_DIGITS && field.hex();
}

/// An answer that is no report of a firmware that leaves out quotes and padding: behind the two numbers is
/// the end, a quoted or empty area, or an area and a cell as long as they are.
bool is_no_report(const Fields& fields)
{
    const Field& area = fields[2];
    return has_answer_shape(fields) &&
           (area.quoted || area.empty() ||
            (is_bare_code(area) && (is_bare_code(fields[3]) || is_bare_code(fields[4]))));
}

} // namespace

const char* prefix_of(Domain domain)
{
    switch (domain) {
    case Domain::CS:
        return "+CREG";
    case Domain::PS:
        return "+CGREG";
    case Domain::EPS:
        return "+CEREG";
    }
    return "";
}

std::optional<Update> parse_urc(Domain domain, const std::string& message)
{
    const auto piece = at::last_piece_of(message, prefix_of(domain));
    if (!piece) {
        return std::nullopt;
    }
    const Fields fields(*piece);
    return is_no_report(fields) ? std::nullopt : read(domain, fields, 0);
}

std::optional<Update> parse_answer(Domain domain, const std::string& message)
{
    auto pieces = at::pieces_of(message, prefix_of(domain));
    std::reverse(pieces.begin(), pieces.end());
    for (const auto& piece : pieces) {
        const Fields fields(piece);
        if (has_answer_shape(fields)) {
            return read(domain, fields, 1);
        }
    }
    return std::nullopt;
}

} // namespace registration
