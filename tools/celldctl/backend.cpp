#include "bus/publish.hpp"
#include "bus_link.hpp"
#include "verbs.hpp"

#include <array>
#include <memory>

namespace celldctl {

namespace {

using namespace std::chrono_literals;
using ecu::kova::pb::BackendProxyStatus;

constexpr auto TOPIC = "be/status";
constexpr auto CONNECT_TIMEOUT = 5s;
constexpr auto FIRST_CONNECTION = 10s; // of what then goes on for ever
constexpr auto SEND_TIMEOUT = 5s;
constexpr std::array WORDS{"connected", "disconnected"};

struct Settings {
    std::string word;
    std::optional<std::chrono::seconds> interval;
    std::optional<std::chrono::seconds> timeout;
};

BackendProxyStatus status_from(const std::string& word)
{
    BackendProxyStatus status;
    status.set_status(word == "connected" ? BackendProxyStatus::BACKEND_CONNECTED
                                          : BackendProxyStatus::BACKEND_DISCONNECTED);
    return status;
}

int publish_once(Session& session, const Settings& settings)
{
    BusLink link(session.broker);
    link.wait_until_connected(session.signals, patience(settings.timeout, CONNECT_TIMEOUT));
    utils::publish_protobuf(link.shared(), status_from(settings.word), TOPIC, true);
    if (!link.client().flush(SEND_TIMEOUT)) {
        throw Failure(NO_CONNECTION, "the status was not sent to " + link.broker());
    }
    return SUCCESS;
}

/// Until a signal. A broker that goes meanwhile is told of once, and the client tries again for ever.
int repeat(Session& session, const Settings& settings)
{
    BusLink link(session.broker);
    link.wait_until_connected(session.signals, {settings.timeout.value_or(FIRST_CONNECTION), true});
    bool told = false;
    do {
        utils::publish_protobuf(link.shared(), status_from(settings.word), TOPIC, true);
        if (!link.is_connected() && !told) {
            complain(std::string(link.no_connection().what()) + "; trying again");
        }
        told = !link.is_connected();
    } while (!session.signals.wait(*settings.interval));
    return SUCCESS;
}

} // namespace

Run backend(Options& options)
{
    const auto settings = std::make_shared<Settings>();
    options.one_of("STATUS", settings->word, WORDS, "connected or disconnected");
    options.seconds("--interval", settings->interval, "publish it again and again, until interrupted");
    options.seconds("--timeout", settings->timeout, "try that long to reach the broker");
    return [settings](Session& session) {
        return settings->interval ? repeat(session, *settings) : publish_once(session, *settings);
    };
}

} // namespace celldctl
