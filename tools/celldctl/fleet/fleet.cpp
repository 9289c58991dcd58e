#include "fleet/fleet_bus.hpp"
#include "fleet/fleet_views.hpp"
#include "timer/wall_clock.hpp"
#include "verbs.hpp"
#include "watch/live.hpp"
#include "watch/terminal.hpp"

#include <algorithm>
#include <memory>

namespace celldctl {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto LOOK_AGAIN = 50ms;
constexpr auto REDRAW = 1s;        // the durations go on
constexpr auto MOST_OFTEN = 250ms; // the screen, however much changes
constexpr auto COMPLAIN_AGAIN = 60s;
constexpr auto TIMEOUT = 10s; // of --once
constexpr auto QUIET = 500ms; // after it the broker has nothing more that it retained

struct Settings {
    bool json = false;
    bool once = false;
    bool reverse = false;
    std::string sort = "unit";
    std::vector<std::string> filters;
    std::optional<std::chrono::seconds> timeout;
};

FleetChoice choice_of(const Settings& settings)
{
    FleetChoice choice;
    std::transform(settings.filters.begin(), settings.filters.end(), std::back_inserter(choice.filters),
                   fleet_filter);
    choice.sort = settings.sort;
    choice.reverse = settings.reverse;
    return choice;
}

/// What is done with what is new.
class FleetView {
public:
    virtual ~FleetView() = default;
    virtual void connection(const Event& event) = 0;
    virtual void news(const std::vector<FleetNews>& news) = 0;
    /// After each look. False: the user has had enough.
    virtual bool refresh(const FleetObserver& fleet) = 0;
    /// A signal that does not end the program.
    virtual void signal(int number) = 0;
};

/// One line a change.
class FleetLines final : public FleetView {
public:
    FleetLines(Output& output, FleetChoice choice, bool json)
        : output_(output), choice_(std::move(choice)), json_(json)
    {
    }

    void connection(const Event& event) override
    {
        output_.write(json_ ? event_json(event) : event_text(event, true));
    }
    void news(const std::vector<FleetNews>& news) override
    {
        std::string lines;
        for (const auto& one : news) {
            if (choice_.takes({one.unit, one.record}, one.when)) {
                lines += json_ ? fleet_json(one) : fleet_text(one);
            }
        }
        output_.write(lines);
    }
    bool refresh(const FleetObserver& fleet) override
    {
        output_.check_reader();
        const auto now = Clock::now();
        if (!looked_ || now - *looked_ >= COMPLAIN_AGAIN) {
            looked_ = complain_of(fleet.left_out()) || looked_ ? std::optional(now) : std::nullopt;
        }
        return true;
    }
    void signal(int) override {}

private:
    /// The first at once, the rest once a minute.
    bool complain_of(const FleetModel::Left& left)
    {
        const bool is_news = left != told_;
        told_ = left;
        if (is_news) {
            complain(left_out_text(left));
        }
        return is_news;
    }

    Output& output_;
    const FleetChoice choice_;
    const bool json_;
    FleetModel::Left told_;
    std::optional<Clock::time_point> looked_;
};

/// The table on the screen.
class FleetTable final : public FleetView {
public:
    FleetTable(Session& session, std::string broker, FleetChoice choice)
        : broker_(std::move(broker)), terminal_(session.output)
    {
        page_.choice = std::move(choice);
    }

    void connection(const Event& event) override
    {
        const bool connected = std::get<std::int64_t>(event.what.fields.all().front().value) != 0;
        page_.trouble = connected ? std::string() : event.what.note;
        changed_ = true;
    }
    void news(const std::vector<FleetNews>& news) override { changed_ = changed_ || !news.empty(); }
    bool refresh(const FleetObserver& fleet) override
    {
        while (const auto key = terminal_.key()) {
            if (!press(*key)) {
                return false;
            }
        }
        const auto now = Clock::now();
        const auto since = drawn_ ? now - *drawn_ : REDRAW;
        if (pressed_ || since >= REDRAW || (changed_ && since >= MOST_OFTEN)) {
            draw(fleet.model());
            drawn_ = now;
            pressed_ = changed_ = false;
        }
        return true;
    }
    void signal(int number) override
    {
        terminal_.signal(number);
        pressed_ = true;
    }

private:
    void draw(const FleetModel& model)
    {
        const auto size = terminal_.size();
        rows_ = size.rows;
        terminal_.show(fleet_screen(model, page_, timer::wall_now(), broker_, size));
    }

    bool press(char key)
    {
        constexpr std::size_t BESIDES = 4; // lines that are no rows
        const std::size_t page = rows_ > BESIDES ? rows_ - BESIDES : 1;
        pressed_ = true;
        if (key == 's') {
            const auto columns = fleet_columns();
            const auto at = std::find(columns.begin(), columns.end(), page_.choice.sort) - columns.begin();
            page_.choice.sort = columns[static_cast<std::size_t>(at + 1) % columns.size()];
        } else if (key == 'r') {
            page_.choice.reverse = !page_.choice.reverse;
        } else if (key == 'n') {
            page_.first += page;
        } else if (key == 'p') {
            page_.first -= std::min(page_.first, page);
        }
        return key != 'q';
    }

    const std::string broker_;
    Terminal terminal_;
    FleetPage page_;
    std::size_t rows_ = 0;
    bool changed_ = false;
    bool pressed_ = false;
    std::optional<Clock::time_point> drawn_;
};

std::unique_ptr<FleetView> make_view(Session& session, const FleetBus& bus, const Settings& settings)
{
    if (!settings.json && Terminal::is_there()) {
        Terminal::take_signals(session.signals);
        return std::make_unique<FleetTable>(session, bus.link().broker(), choice_of(settings));
    }
    return std::make_unique<FleetLines>(session.output, choice_of(settings), settings.json);
}

int follow(Session& session, const Settings& settings)
{
    const auto end = deadline(settings.timeout);
    static_cast<void>(choice_of(settings)); // what is wrong with it is told before the broker is asked
    FleetBus bus(session.broker);
    bus.wait_for_first_connection(session.signals, settings.timeout);
    const auto view = make_view(session, bus, settings);
    const auto refresh = [&] {
        if (const auto event = bus.look(timer::wall_now())) {
            view->connection(*event);
        }
        view->news(bus.observer().take_news());
        return view->refresh(bus.observer());
    };
    live(session, end, refresh, [&view](int number) { view->signal(number); });
    return SUCCESS;
}

/// Until the broker has sent all that it retains.
void wait_for_all(Session& session, FleetBus& bus, std::chrono::seconds timeout)
{
    const auto begin = timer::wall_now();
    for (auto now = begin;
         now - std::max(begin, bus.observer().last_retained()) < QUIET && now - begin < timeout;
         now = timer::wall_now()) {
        if (session.signals.wait(LOOK_AGAIN)) {
            throw Failure(BY_SIGNAL + session.signals.ending(), "");
        }
        if (!bus.link().is_connected()) {
            throw bus.link().no_connection();
        }
    }
}

int show_once(Session& session, const Settings& settings)
{
    const auto choice = choice_of(settings);
    FleetBus bus(session.broker);
    bus.wait_for_first_connection(session.signals, settings.timeout);
    wait_for_all(session, bus, settings.timeout.value_or(TIMEOUT));
    const auto model = bus.observer().model();
    const auto now = timer::wall_now();
    if (const auto left = left_out_text(model.left_out()); !left.empty()) {
        complain(left);
    }
    if (model.units().empty()) {
        throw Failure(NO, "no unit has reported to " + bus.link().broker());
    }
    std::string text = settings.json ? "" : fleet_head() + '\n';
    for (const auto& row : fleet_rows(model, choice, now)) {
        text += settings.json ? fleet_json(row, now) : fleet_line(row, now) + '\n';
    }
    session.output.write(text + (settings.json ? "" : fleet_summary(model) + '\n'));
    return SUCCESS;
}

} // namespace

Run fleet(Options& options)
{
    const auto settings = std::make_shared<Settings>();
    options.flag("--once", settings->once, "the table as it is now, once");
    options.flag("--json", settings->json, "one object a line, see fleet.md");
    options.one_of("--sort", settings->sort, fleet_columns(), "by this column");
    options.flag("--reverse", settings->reverse, "the other way round");
    options.texts("--filter", settings->filters,
                  "only units such as state=searching, signal<-100; see celldctl(1)");
    options.seconds("--timeout", settings->timeout, "end after that time; with --once, wait that long");
    return [settings](Session& session) {
        return settings->once ? show_once(session, *settings) : follow(session, *settings);
    };
}

} // namespace celldctl
