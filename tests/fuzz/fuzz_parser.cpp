#include "at/at_command.hpp"
#include "at/at_parser.hpp"
#include "at/at_text.hpp"
#include "at/fields.hpp"
#include "utils/strings.hpp"

#include <ecu/kova/logging.hpp>

#include <cstddef>
#include <cstdint>

/// The module may say anything, split anywhere: the first byte says where.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ecu::kova::logging::configure_logging("EMERG");
    if (size == 0) {
        return 0;
    }
    const std::string bytes(data + 1, data + size);
    const std::size_t split = bytes.empty() ? 0 : data[0] % bytes.size();
    AtParser parser;
    parser.active_command(AtCommand("+CREG?"));
    parser.feed_input(bytes.substr(0, split));
    parser.feed_input(bytes.substr(split));
    for (auto& response : parser.take_responses()) {
        int number = 0;
        static_cast<void>(response.parse("%d", &number));
        static_cast<void>(at::Fields(response, "+CREG").read(1, number));
        static_cast<void>(at::mask_secrets(utils::to_valid_utf8(response.message)));
        static_cast<void>(utils::extract_cid_from_cgact(response.message));
    }
    return 0;
}
