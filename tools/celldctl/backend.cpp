#include "bus/publish.hpp"
#include "verbs.hpp"

namespace celldctl {

namespace {

using ecu::kova::pb::BackendProxyStatus;

BackendProxyStatus status_from(const std::optional<std::string>& word)
{
    BackendProxyStatus status;
    if (word == "connected") {
        status.set_status(BackendProxyStatus::BACKEND_CONNECTED);
    } else if (word == "disconnected") {
        status.set_status(BackendProxyStatus::BACKEND_DISCONNECTED);
    } else {
        throw UsageError("backend needs 'connected' or 'disconnected'");
    }
    return status;
}

/// Until a signal: a broker that comes late or goes meanwhile is the client's business.
int repeat(Session& session, const BackendProxyStatus& status, std::chrono::seconds interval)
{
    auto client = session.connect_in_background();
    do {
        utils::publish_protobuf(client, status, "be/status", true);
    } while (!session.stop.wait(interval));
    return SUCCESS;
}

} // namespace

int backend(Session& session, Arguments& arguments)
{
    constexpr auto SEND_TIMEOUT = std::chrono::seconds(5);

    const auto interval = arguments.take_seconds("--interval");
    const auto status = status_from(arguments.take_word());
    arguments.expect_none();
    if (interval) {
        return repeat(session, status, *interval);
    }
    auto client = session.connect();
    if (!client) {
        return FAILURE;
    }
    utils::publish_protobuf(client, status, "be/status", true);
    if (!client->flush(SEND_TIMEOUT)) {
        complain("the status was not sent");
        return FAILURE;
    }
    return SUCCESS;
}

} // namespace celldctl
