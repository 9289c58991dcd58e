#include "bus/publish.hpp"
#include "verbs.hpp"

namespace celldctl {

int blackout(Session& session, Arguments& arguments)
{
    constexpr auto TOPIC = "rt/system/blackout_mode";
    constexpr auto SEND_TIMEOUT = std::chrono::seconds(5);

    const auto word = arguments.take_word();
    if (word != "on" && word != "off") {
        throw UsageError("blackout needs 'on' or 'off'");
    }
    arguments.expect_none();
    const auto client = session.connect();
    if (!client) {
        return FAILURE;
    }
    const unsigned char value = word == "on" ? 1 : 0;
    if (!utils::publish_rt_data_raw(client, TOPIC, {value}) || !client->flush(SEND_TIMEOUT)) {
        complain("the signal was not sent");
        return FAILURE;
    }
    return SUCCESS;
}

} // namespace celldctl
