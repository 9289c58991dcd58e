#include "bus_listener.hpp"
#include "freshness.hpp"
#include "snapshot_observer.hpp"
#include "verbs.hpp"

#include <algorithm>
#include <memory>

namespace celldctl {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto LOOK_AGAIN = 50ms; // between a message and its line at worst

struct Settings {
    bool json = false;
    bool changes = false;
    bool date = false;
    std::vector<std::string> only; ///< words of kinds; empty: all
    std::string until;             ///< empty: no state is waited for
    std::optional<std::chrono::seconds> timeout;
};

class Monitor {
public:
    Monitor(Session& session, const Settings& settings)
        : session_(session), settings_(settings), bus_(session.broker)
    {
        if (!settings_.until.empty()) {
            wanted_ = modem_state(settings_.until);
        }
    }

    int run()
    {
        const auto begin = Clock::now();
        bus_.wait_for_first_connection(session_.signals, settings_.timeout);
        while (!session_.signals.wait(LOOK_AGAIN)) {
            show_news();
            if (reached_) {
                return SUCCESS;
            }
            session_.output.check_reader();
            if (settings_.timeout && Clock::now() - begin >= *settings_.timeout) {
                return time_over();
            }
        }
        if (wanted_) {
            throw Failure(BY_SIGNAL + session_.signals.ending(), "interrupted");
        }
        return status_of_what_came();
    }

private:
    void show_news()
    {
        if (const auto event = bus_.connection_news()) {
            show(*event);
        }
        bus_.complain_of_dropped();
        while (const auto heard = bus_.next()) {
            take(*heard);
        }
    }

    void take(const Heard& heard)
    {
        const auto now_ns = now_of(bus_.link().is_local());
        auto event = event_of(heard, now_ns);
        malformed_ += event.what.malformed ? 1 : 0;
        if (wanted_ && event.what.state == wanted_ && is_current(heard.message, now_ns)) {
            reached_ = true;
        }
        if (!settings_.only.empty() && std::find(settings_.only.begin(), settings_.only.end(),
                                                 word(event.what.kind)) == settings_.only.end()) {
            return;
        }
        if (!settings_.changes) {
            show(event);
        } else if (const auto changed = filter_.pass(std::move(event))) {
            show(*changed);
        }
    }

    void show(const Event& event)
    {
        session_.output.write(settings_.json ? event_json(event) : event_text(event, settings_.date));
    }

    int time_over()
    {
        if (!bus_.link().is_connected()) {
            throw bus_.link().no_connection();
        }
        if (wanted_) {
            throw Failure(TIME_OVER, "the state was not reached within " +
                                         std::to_string(settings_.timeout->count()) + " s");
        }
        return status_of_what_came();
    }

    int status_of_what_came() const
    {
        if (malformed_ > 0) {
            throw Failure(UNREADABLE, std::to_string(malformed_) + " messages did not decode");
        }
        return SUCCESS;
    }

    Session& session_;
    const Settings& settings_;
    BusListener bus_;
    ChangeFilter filter_;
    std::optional<ModemState> wanted_;
    bool reached_ = false;
    std::uint64_t malformed_ = 0;
};

} // namespace

Run monitor(Options& options)
{
    const auto settings = std::make_shared<Settings>();
    options.flag("--json", settings->json, "one object a line, see celldctl-monitor.md");
    options.some_of("--only", settings->only, KIND_WORDS, "only these kinds of messages");
    options.flag("--changes", settings->changes, "only what has changed since the last message of the topic");
    options.flag("--date", settings->date, "each line with the date");
    options.one_of("--until", settings->until, modem_state_words(), "end once the modem's state is this one");
    options.seconds("--timeout", settings->timeout, "end after that time");
    return [settings](Session& session) { return Monitor(session, *settings).run(); };
}

} // namespace celldctl
