#include "module/command_table.hpp"

#include "module/module.hpp"

#include <algorithm>
#include <array>

namespace bench {
namespace {

const CommandRow* find_row(std::string_view name)
{
    const std::array themes{identity_commands(), config_commands(),  report_commands(),
                            network_commands(),  context_commands(), sim_commands()};
    for (const auto rows : themes) {
        const auto row =
            std::find_if(rows.begin(), rows.end(), [name](const CommandRow& r) { return r.name == name; });
        if (row != rows.end()) {
            return &*row;
        }
    }
    return nullptr;
}

} // namespace

AtAnswer run_command(Module& module, const AtRequest& request)
{
    const auto* row = find_row(request.name);
    if (row == nullptr || !belongs(module.family(), row->families)) {
        return AtAnswer::failed(Cme::OPERATION_NOT_SUPPORTED);
    }
    if (request.form == Form::TEST) {
        return row->ranges.empty() ? AtAnswer::ok()
                                   : AtAnswer::line(request.name + ": " + std::string(row->ranges));
    }
    return row->handler(module, request);
}

int command_slowness(const AtRequest& request)
{
    const auto* row = find_row(request.name);
    return row != nullptr && request.form == Form::SET ? row->slowness : 1;
}

} // namespace bench
