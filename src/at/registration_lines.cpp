#include "at/registration_lines.hpp"

#include "at/fields.hpp"
#include "data/defs.hpp"

#include <algorithm>
#include <span>

namespace registration {
namespace {

using at::Field;
using Fields = std::span<const Field>;

constexpr int MAX_STATUS = 99;            // <stat>: whatever two digits say
constexpr int MAX_REPORT_MODE = 5;        // <n>
constexpr int MAX_ACCESS_TECHNOLOGY = 15; // <AcT> as of release 16

bool is_access_technology(const Field& field)
{
    const auto value = field.decimal();
    return value && *value >= 0 && *value <= MAX_ACCESS_TECHNOLOGY && field.text.size() <= 2;
}

/// As in the line, or this program's own "unknown", which some firmware says too.
std::optional<int> access_technology(const Field& field)
{
    const auto value = field.decimal();
    return is_access_technology(field) || value == defs::RAT_INVALID ? value : std::nullopt;
}

/// Some LTE firmware puts a routing area between tracking area and cell: <tac>,<rac>,<ci>,<AcT>.
bool has_inserted_routing_area(Fields rest)
{
    if (rest.size() < 4 || rest[2].empty()) {
        return false;
    }
    return rest[2].quoted || (!is_access_technology(rest[2]) && is_access_technology(rest[3]));
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
void read_place(Fields rest, std::size_t cell_at, Update& update)
{
    update.area = rest.empty() ? std::nullopt : place(rest[0]);
    update.cell = update.area && rest.size() > cell_at ? place(rest[cell_at]) : std::nullopt;
}

void read_tail(Domain domain, Fields tail, Update& update)
{
    if (domain == Domain::PS && !tail.empty()) {
        update.routing_area = routing_area(tail[0]);
    }
    if (domain == Domain::EPS && tail.size() >= 2) {
        update.cause_type = tail[0].decimal();
        update.reject_cause = tail[1].decimal();
    }
}

// [<n>,]<stat>[,<lac>,<ci>[,<AcT>[,<rac>]]]; EPS:
// [<n>,]<stat>[,<tac>[,<rac>],<ci>[,<AcT>[,<cause_type>,<reject_cause>]]]
std::optional<Update> read(Domain domain, Fields fields)
{
    const auto status = fields.empty() ? std::nullopt : fields[0].decimal();
    if (!status) {
        return std::nullopt;
    }
    Update update;
    update.status = *status;
    const Fields rest = fields.subspan(1); // empty for the short form
    const bool inserted = domain == Domain::EPS && has_inserted_routing_area(rest);
    const std::size_t cell_at = inserted ? 2 : 1;
    read_place(rest, cell_at, update);
    if (inserted) {
        update.routing_area = rest[1].hex();
    }
    if (rest.size() > cell_at + 1) {
        const Fields behind = rest.subspan(cell_at + 1);
        update.access_technology = access_technology(behind[0]);
        read_tail(domain, behind.subspan(1), update);
    }
    return update;
}

/// <n>,<stat>: two small bare numbers in front, where a URC has its status alone or an area code second.
bool has_answer_shape(Fields fields)
{
    const auto small = [](const Field& field, int limit) {
        const auto value = field.decimal();
        return !field.quoted && value && *value >= 0 && *value <= limit && field.text.size() <= 2;
    };
    return fields.size() >= 2 && small(fields[0], MAX_REPORT_MODE) && small(fields[1], MAX_STATUS);
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
    const auto pieces = at::pieces_of(message, prefix_of(domain));
    if (pieces.empty()) {
        return std::nullopt;
    }
    const auto fields = at::split_fields(pieces.back());
    return read(domain, fields);
}

std::optional<Update> parse_answer(Domain domain, const std::string& message)
{
    auto pieces = at::pieces_of(message, prefix_of(domain));
    std::reverse(pieces.begin(), pieces.end());
    for (const auto& piece : pieces) {
        const auto fields = at::split_fields(piece);
        if (has_answer_shape(fields)) {
            return read(domain, Fields(fields).subspan(1));
        }
    }
    return std::nullopt;
}

} // namespace registration
