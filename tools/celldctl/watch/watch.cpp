#include "bus_listener.hpp"
#include "snapshot_observer.hpp"
#include "timer/wall_clock.hpp"
#include "verbs.hpp"
#include "watch/live.hpp"
#include "watch/terminal.hpp"
#include "watch/watch_model.hpp"

#include <memory>

namespace celldctl {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto REDRAW = 1s; // the durations go on
constexpr char QUIT = 'q';

struct Settings {
    std::optional<std::chrono::seconds> timeout;
};

/// What is done with what is new.
class View {
public:
    virtual ~View() = default;
    virtual void event(const WatchModel& model, const Event& event) = 0;
    /// After each look. False: the user has had enough.
    virtual bool refresh(const WatchModel& model) = 0;
    /// A signal that does not end the program.
    virtual void signal(int number) = 0;
};

/// One line an event, as `monitor --changes`; a new state says how long the last one was.
class Lines final : public View {
public:
    explicit Lines(Output& output) : output_(output) {}

    void event(const WatchModel& model, const Event& event) override
    {
        auto line = event_text(event, true);
        if (event.what.state && !event.what.fields.all().empty() &&
            event.what.fields.all().front().name == "state" && !model.last_stretch().empty()) {
            line.insert(line.size() - 1, "  (" + model.last_stretch() + ")");
        }
        output_.write(line);
    }
    bool refresh(const WatchModel&) override
    {
        output_.check_reader();
        return true;
    }
    void signal(int) override {}

private:
    Output& output_;
};

class Live final : public View {
public:
    Live(Session& session, std::string broker)
        : broker_(std::move(broker)), utf8_(Terminal::shows_utf8()), terminal_(session.output)
    {
    }

    void event(const WatchModel&, const Event&) override { drawn_.reset(); }

    bool refresh(const WatchModel& model) override
    {
        while (const auto key = terminal_.key()) {
            if (*key == QUIT) {
                return false;
            }
        }
        const auto now = Clock::now();
        if (!drawn_ || now - *drawn_ >= REDRAW) {
            drawn_ = now;
            terminal_.show(watch_screen(model, timer::wall_now(), broker_, terminal_.size(), utf8_));
        }
        return true;
    }

    void signal(int number) override
    {
        terminal_.signal(number);
        drawn_.reset();
    }

private:
    const std::string broker_;
    const bool utf8_;
    Terminal terminal_;
    std::optional<Clock::time_point> drawn_;
};

std::unique_ptr<View> make_view(Session& session, const std::string& broker)
{
    if (Terminal::is_there()) {
        Terminal::take_signals(session.signals);
        return std::make_unique<Live>(session, broker);
    }
    return std::make_unique<Lines>(session.output);
}

void take_news(BusListener& bus, WatchModel& model, View& view)
{
    const auto now_ns = now_of(bus.link().is_local());
    if (const auto news = bus.connection_news()) {
        model.take_connection(*news);
        view.event(model, *news);
    }
    while (const auto heard = bus.next()) {
        if (const auto news = model.take(*heard, now_ns)) {
            view.event(model, *news);
        }
    }
    model.advance(timer::wall_now(), now_ns);
}

int run(Session& session, const Settings& settings)
{
    const auto end = deadline(settings.timeout);
    BusListener bus(session.broker);
    bus.wait_for_first_connection(session.signals, settings.timeout);
    const auto view = make_view(session, bus.link().broker());
    WatchModel model;
    const auto refresh = [&] {
        take_news(bus, model, *view);
        return view->refresh(model);
    };
    live(session, end, refresh, [&view](int number) { view->signal(number); });
    return SUCCESS;
}

} // namespace

Run watch(Options& options)
{
    const auto settings = std::make_shared<Settings>();
    options.seconds("--timeout", settings->timeout, "end after that time");
    return [settings](Session& session) { return run(session, *settings); };
}

} // namespace celldctl
