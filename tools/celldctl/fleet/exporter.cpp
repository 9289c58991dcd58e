#include "fleet/fleet_bus.hpp"
#include "fleet/fleet_views.hpp"
#include "fleet/metrics.hpp"
#include "fleet/metrics_server.hpp"
#include "timer/wall_clock.hpp"
#include "verbs.hpp"

#include <memory>

namespace celldctl {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto LOOK_AGAIN = 200ms;     // between the connection's end and the metric at worst
constexpr auto FIRST_CONNECTION = 10s; // before its absence is told
constexpr auto COMPLAIN_AGAIN = 60s;
constexpr auto LISTEN = "127.0.0.1:9818";

struct Settings {
    std::string listen = LISTEN;
};

/// On standard error, as a service does: what becomes of the connection, and what is left out.
class Complaints {
public:
    void look(FleetBus& bus)
    {
        const auto now = Clock::now();
        was_connected_ = was_connected_ || bus.link().is_connected();
        if (const auto event = bus.look(timer::wall_now())) {
            complain("connection " + event->what.note);
        } else if (!was_connected_ && !told_ && now - begin_ >= FIRST_CONNECTION) {
            complain(std::string(bus.link().no_connection().what()) + "; trying again");
            told_ = true;
        }
        if (now - looked_ >= COMPLAIN_AGAIN) {
            looked_ = now;
            tell_left_out(bus.observer().left_out());
        }
    }

    bool was_connected() const { return was_connected_; }

private:
    void tell_left_out(FleetModel::Left left)
    {
        left.news = 0; // nobody is told of changes here
        if (left != left_) {
            complain(left_out_text(left));
        }
        left_ = left;
    }

    const Clock::time_point begin_ = Clock::now();
    Clock::time_point looked_;
    FleetModel::Left left_;
    bool was_connected_ = false;
    bool told_ = false;
};

/// Until a signal. It serves whether the broker is there or not: a metric says which.
int serve(Session& session, const Settings& settings)
{
    FleetBus bus(session.broker);
    const MetricsServer server(
        settings.listen, [&bus] { return metrics_text(bus.observer().model(), bus.link().is_connected()); });
    session.output.write(server.url() + '\n');
    Complaints complaints;
    do {
        complaints.look(bus);
        static_cast<void>(bus.observer().take_news());
        if (!complaints.was_connected()) {
            bus.link().check_not_refused();
        }
    } while (!session.signals.wait(LOOK_AGAIN));
    return SUCCESS;
}

} // namespace

Run exporter(Options& options)
{
    const auto settings = std::make_shared<Settings>();
    options.text("--listen", settings->listen, "ADDRESS:PORT of the metrics (127.0.0.1:9818)");
    return [settings](Session& session) { return serve(session, *settings); };
}

} // namespace celldctl
