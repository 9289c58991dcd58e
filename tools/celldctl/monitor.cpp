#include "describe.hpp"
#include "fields.hpp"
#include "verbs.hpp"

#include <array>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <iomanip>
#include <iostream>

namespace celldctl {

namespace {

using namespace std::chrono_literals;
namespace com = ecu::kova::com;

constexpr std::array TOPICS{"system/modem/#", "rt/system/#", "be/status"};
constexpr auto LOOK_AGAIN = 50ms; // between a message that ends the monitoring and its end
constexpr int TOPIC_WIDTH = 30;   // the usual topics in a column; the longest antenna topics stand out

std::string time_of_day()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    std::tm utc{};
    gmtime_r(&now.tv_sec, &utc);
    std::array<char, 32> text{};
    static_cast<void>(std::snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03ldZ", utc.tm_hour,
                                    utc.tm_min, utc.tm_sec, now.tv_nsec / 1'000'000 % 1000));
    return text.data();
}

/// Prints on the client's thread, the only one that uses standard output meanwhile.
class Printer final : public com::ISubscriptionObserver {
public:
    explicit Printer(std::optional<ModemState> wanted) : wanted_(wanted) {}

    void message(const std::string& topic, const com::Message& message) override
    {
        const auto description = describe(topic, message);
        std::cout << time_of_day() << "  " << std::left << std::setw(TOPIC_WIDTH) << printable(topic) << ' '
                  << description.text << (message.retained() ? "  (retained)" : "") << std::endl;
        if (!std::cout) {
            output_gone_ = true;
        }
        if (wanted_ && description.state == wanted_) {
            reached_ = true;
        }
    }

    bool reached() const { return reached_; }
    bool output_gone() const { return output_gone_; }

private:
    const std::optional<ModemState> wanted_;
    std::atomic<bool> reached_{false};
    std::atomic<bool> output_gone_{false};
};

std::optional<ModemState> wanted_state(Arguments& arguments)
{
    const auto name = arguments.take_option("--until");
    if (!name) {
        return std::nullopt;
    }
    const auto state = modem_state(*name);
    if (!state) {
        throw UsageError("--until needs a modem state such as 'connected', not '" + *name + "'");
    }
    return state;
}

int watch(Session& session, const Printer& printer, bool waits_for_state,
          std::optional<std::chrono::seconds> timeout)
{
    const auto begin = std::chrono::steady_clock::now();
    while (!session.stop.wait(LOOK_AGAIN)) {
        if (printer.reached()) {
            return SUCCESS;
        }
        if (printer.output_gone()) {
            complain("standard output cannot be written");
            return FAILURE;
        }
        if (timeout && std::chrono::steady_clock::now() - begin >= *timeout) {
            if (waits_for_state) {
                complain("the state was not reached within " + std::to_string(timeout->count()) + " s");
            }
            break;
        }
    }
    return waits_for_state ? FAILURE : SUCCESS;
}

} // namespace

int monitor(Session& session, Arguments& arguments)
{
    const auto wanted = wanted_state(arguments);
    const auto timeout = arguments.take_seconds("--timeout");
    arguments.expect_none();
    const auto printer = std::make_shared<Printer>(wanted);
    const auto client = session.connect_in_background();
    for (const auto* const topic : TOPICS) {
        if (!client->subscribe(topic, printer)) {
            complain(std::string("cannot subscribe to ") + topic);
            return FAILURE;
        }
    }
    return watch(session, *printer, wanted.has_value(), timeout);
}

} // namespace celldctl
