#include "bus/publish.hpp"
#include "bus_link.hpp"
#include "verbs.hpp"

#include <array>
#include <memory>

namespace celldctl {

namespace {

using namespace std::chrono_literals;

constexpr auto TOPIC = "rt/system/blackout_mode";
constexpr auto CONNECT_TIMEOUT = 5s;
constexpr auto SEND_TIMEOUT = 5s;
constexpr std::array SWITCH{"on", "off"};

struct Settings {
    std::string position;
    std::optional<std::chrono::seconds> timeout;
};

int send(Session& session, const Settings& settings)
{
    BusLink link(session.broker);
    link.wait_until_connected(session.signals, patience(settings.timeout, CONNECT_TIMEOUT));
    const unsigned char value = settings.position == "on" ? 1 : 0;
    if (!utils::publish_rt_data_raw(link.shared(), TOPIC, {value}) || !link.client().flush(SEND_TIMEOUT)) {
        throw Failure(NO_CONNECTION, "the signal was not sent to " + link.broker());
    }
    return SUCCESS;
}

} // namespace

Run blackout(Options& options)
{
    const auto settings = std::make_shared<Settings>();
    options.one_of("STATE", settings->position, SWITCH, "on or off");
    options.seconds("--timeout", settings->timeout, "try that long to reach the broker");
    return [settings](Session& session) { return send(session, *settings); };
}

} // namespace celldctl
