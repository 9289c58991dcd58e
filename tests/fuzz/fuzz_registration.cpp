#include "at/registration_lines.hpp"
#include "data/modem_data.hpp"
#include "status/network_time.hpp"
#include "status/status_messages.hpp"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string line(data, data + size);
    ModemData record;
    for (const auto domain :
         {registration::Domain::CS, registration::Domain::PS, registration::Domain::EPS}) {
        for (const auto& update :
             {registration::parse_urc(domain, line), registration::parse_answer(domain, line)}) {
            if (update) {
                record.apply(domain, *update);
            }
        }
    }
    record.operator_data.name = line;
    static_cast<void>(status_messages::status(record).SerializeAsString());
    static_cast<void>(parse_network_time_us(line));
    return 0;
}
