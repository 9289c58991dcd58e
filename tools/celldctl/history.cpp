#include "history_model.hpp"
#include "verbs.hpp"

#include <memory>

namespace celldctl {

namespace {

constexpr std::size_t LAST = 20;

struct Settings {
    bool json = false;
    std::size_t last = LAST;
};

int show(Session& session, const Settings& settings)
{
    const auto contents = journal::read();
    if (contents.wrong) {
        throw Failure(FAILURE, "the journal cannot be read: " + *contents.wrong);
    }
    const auto history = history_of(contents);
    session.output.write(settings.json ? history_json(history, settings.last)
                                       : history_text(history, settings.last));
    return SUCCESS;
}

} // namespace

Run history(Options& options)
{
    const auto settings = std::make_shared<Settings>();
    options.flag("--json", settings->json, "for a program, see celldctl-history.md");
    options.count("--last", settings->last, "the newest N records (20)");
    return [settings](Session& session) { return show(session, *settings); };
}

} // namespace celldctl
