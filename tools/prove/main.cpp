#include "proof.hpp"
#include "recovery.hpp"
#include "roads.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <iostream>
#include <sys/prctl.h>

namespace {

using Family = ScriptedPort::Family;

struct Part {
    const char* name;
    const char* title;
    std::vector<Run> (*runs)(Family, unsigned long seed);
};

constexpr Part PARTS[] = {
    {"single", "one fault at one place", single_faults},
    {"lasting", "one fault for good", lasting_faults},
    {"line", "one fault on the line", faults_on_the_line},
    {"silence", "radio silence at commands", radio_silence},
    {"bus", "brokers, and floods", bus_side},
    {"pairs", "two events in each state", pairs_of_events},
    {"units", "an event of other units", each_unit},
    {"endurance", "a day in which all happens", days},
};

constexpr const char* USAGE =
    "Usage: prove [--every N] [--seed N] [--only TEXT] [--roads FILE | --compare FILE] [single] [lasting] "
    "[line] [silence] [bus] [pairs] [units] [endurance]\n"
    "       prove recovery\n"
    "\n"
    "Lets things go wrong with a whole daemon in virtual time, and says what came of it.\n"
    "\n"
    "  --every N   one run in N only, another one with each seed (default: 1)\n"
    "  --seed N    which of them, and what happens in a day of endurance (default: the date)\n"
    "  --only TEXT the runs with this in their name, as a run is named that falls short\n"
    "  --roads FILE    writes down which way each run went: all that left the daemon, as one number\n"
    "  --compare FILE  says which runs went another way than written there\n"
    "\n"
    "With recovery alone: prints how long the way back takes, as docs/recovery.md.\n"
    "\n"
    "Status 0 when every run ended connected, or as it may.\n";

unsigned long number(const char* text)
{
    char* end = nullptr;
    const auto value = text != nullptr ? std::strtoul(text, &end, 10) : 0;
    if (end == nullptr || *end != '\0' || value == 0) {
        std::cerr << USAGE;
        std::exit(2); // NOLINT(concurrency-mt-unsafe): before anything runs
    }
    return value;
}

struct Settings {
    unsigned long every = 1;
    unsigned long seed = static_cast<unsigned long>(std::time(nullptr) / 86400);
    std::string only;
    std::string roads;
    std::string compare;
    std::set<std::string> parts;
};

Settings settings_of(int count, char** words)
{
    Settings settings;
    for (int i = 1; i < count; ++i) {
        const std::string word = words[i];
        if (word == "--every" || word == "--seed") {
            (word == "--every" ? settings.every : settings.seed) = number(words[++i]);
        } else if ((word == "--only" || word == "--roads" || word == "--compare") &&
                   words[i + 1] != nullptr) {
            auto& value = word == "--only"    ? settings.only
                          : word == "--roads" ? settings.roads
                                              : settings.compare;
            value = words[++i];
        } else {
            settings.parts.insert(word);
        }
    }
    return settings;
}

std::vector<Run> chosen(const Settings& settings, const std::vector<Run>& all)
{
    std::vector<Run> some;
    for (std::size_t i = settings.seed % settings.every; i < all.size(); i += settings.every) {
        if (all[i].name.find(settings.only) != std::string::npos) {
            some.push_back(all[i]);
        }
    }
    return some;
}

void print_head(const Settings& settings)
{
    std::cout << "Seed " << settings.seed << ", one run in " << settings.every << ".\n\n"
              << std::left << std::setw(28) << "" << std::setw(8) << "family" << std::right << std::setw(8)
              << "tried" << std::setw(12) << "recovered" << std::setw(18) << "ended as stated"
              << std::setw(12) << "fell short" << std::endl;
}

void print_row(const Part& part, Family family, const Tally& tally)
{
    std::cout << std::left << std::setw(28) << part.title << std::setw(8) << name_of(family) << std::right
              << std::setw(8) << tally.tried << std::setw(12) << tally.recovered << std::setw(18)
              << tally.ended << std::setw(12) << tally.short_of << std::endl;
}

/// Names the first few, counts all.
void print_others(const Roads& known, const std::map<std::string, std::uint64_t>& roads)
{
    constexpr std::size_t NAMED = 20;
    std::size_t others = 0;
    for (const auto& [run, road] : roads) {
        if (known.differs(run, road) && ++others <= NAMED) {
            std::cout << "another way: " << run << '\n';
        }
    }
    std::cout << others << " of " << roads.size() << " went another way\n";
}

bool prove_parts(const Settings& settings)
{
    const auto known = settings.compare.empty() ? Roads() : Roads(settings.compare);
    if (!settings.roads.empty() || !settings.compare.empty()) {
        Watch::steady();
    }
    print_head(settings);
    std::size_t tried = 0;
    std::size_t short_of = 0;
    std::map<std::string, std::uint64_t> roads;
    std::vector<Measured> recoveries;
    for (const auto& part : PARTS) {
        for (const auto family : {Family::SARA, Family::TOBY}) {
            if (!settings.parts.empty() && settings.parts.count(part.name) == 0) {
                continue;
            }
            const auto tally = prove(chosen(settings, part.runs(family, settings.seed)));
            print_row(part, family, tally);
            tried += tally.tried;
            short_of += tally.short_of;
            recoveries.insert(recoveries.end(), tally.recoveries.begin(), tally.recoveries.end());
            for (const auto& [run, road] : tally.roads) {
                roads[std::string(part.name) + ": " + run] = road;
            }
        }
    }
    std::cout << '\n';
    if (!recoveries.empty()) {
        std::cout << "Seconds back to CONNECTED after one fault at one place, beside the fixed waits on that "
                     "road:\n\n";
        print_recoveries(recoveries);
        std::cout << '\n';
    }
    if (!settings.roads.empty()) {
        Roads written;
        std::for_each(roads.begin(), roads.end(),
                      [&](const auto& one) { written.add(one.first, one.second); });
        written.write(settings.roads);
    }
    if (!settings.compare.empty()) {
        print_others(known, roads);
    }
    if (tried == 0) {
        std::cerr << "prove: there is no such run\n";
    }
    std::cout << tried << " tried, " << short_of << " fell short" << std::endl;
    return short_of == 0 && tried > 0;
}

} // namespace

int main(int count, char** words)
{
    prctl(PR_SET_TIMERSLACK, 1); // in nanoseconds: the runs sleep often, and for microseconds only
    testing::GTEST_FLAG(throw_on_failure) = true; // a fixture that is at a loss ends its run
    testing::InitGoogleTest(&count, words);
    const auto settings = settings_of(count, words);
    try {
        const bool good =
            settings.parts == std::set<std::string>{"recovery"} ? print_recovery() : prove_parts(settings);
        return good ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& error) {
        std::cerr << "prove: " << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
