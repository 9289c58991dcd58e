#include "dialogue.hpp"
#include "verbs.hpp"

#include <algorithm>
#include <memory>

namespace celldctl {

namespace {

struct Settings {
    std::vector<std::string> files;
    std::size_t slowest = 0;
    bool failed = false;
};

using Entries = std::vector<Dialogue::Entry>;

bool has_failed(const Dialogue::Entry& entry)
{
    return entry.outcome != Dialogue::Outcome::OK && entry.outcome != Dialogue::Outcome::OPEN;
}

/// The slowest first; without a number, in their order.
Entries chosen(Entries entries, const Settings& settings)
{
    if (settings.failed || settings.slowest > 0) {
        std::erase_if(entries, [&settings](const Dialogue::Entry& entry) {
            return entry.kind != Dialogue::Kind::EXCHANGE || (settings.failed && !has_failed(entry));
        });
    }
    if (settings.slowest > 0) {
        std::stable_sort(entries.begin(), entries.end(),
                         [](const auto& one, const auto& other) { return one.took > other.took; });
        entries.resize(std::min(entries.size(), settings.slowest));
    }
    return entries;
}

int show(Session& session, const Settings& settings)
{
    for (const auto& entry : chosen(read_dialogue(settings.files).entries, settings)) {
        session.output.write(entry_text(entry));
    }
    return SUCCESS;
}

} // namespace

Run at(Options& options)
{
    const auto settings = std::make_shared<Settings>();
    options.paths("FILE", settings->files, "a recording of celld (at.recording), the older first");
    options.count("--slowest", settings->slowest, "only the N slowest commands, the slowest first");
    options.flag("--failed", settings->failed, "only commands that failed or were not answered");
    return [settings](Session& session) { return show(session, *settings); };
}

} // namespace celldctl
