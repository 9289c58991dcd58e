#include "proof.hpp"
#include "recovery.hpp"

#include <cstdlib>
#include <cstring>
#include <iomanip>
#include <iostream>

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
    {"silence", "radio silence at commands", radio_silence},
    {"bus", "brokers, and floods", bus_side},
    {"pairs", "two events in each state", pairs_of_events},
    {"endurance", "a day in which all happens", days},
};

constexpr const char* USAGE =
    "Usage: prove [--every N] [--seed N] [single] [lasting] [silence] [bus] [pairs] [endurance]\n"
    "       prove recovery\n"
    "\n"
    "Lets things go wrong with a whole daemon in virtual time, and says what came of it.\n"
    "\n"
    "  --every N   one run in N only, another one with each seed (default: 1)\n"
    "  --seed N    which of them, and what happens in a day of endurance (default: the date)\n"
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

std::vector<Run> one_in(unsigned long every, unsigned long seed, const std::vector<Run>& all)
{
    std::vector<Run> some;
    for (std::size_t i = seed % every; i < all.size(); i += every) {
        some.push_back(all[i]);
    }
    return some;
}

} // namespace

int main(int count, char** words)
{
    testing::GTEST_FLAG(throw_on_failure) = true; // a fixture that is at a loss ends its run
    testing::InitGoogleTest(&count, words);
    unsigned long every = 1;
    unsigned long seed = static_cast<unsigned long>(std::time(nullptr) / 86400);
    std::set<std::string> chosen;
    for (int i = 1; i < count; ++i) {
        const std::string word = words[i];
        if (word == "--every" || word == "--seed") {
            (word == "--every" ? every : seed) = number(words[++i]);
        } else {
            chosen.insert(word);
        }
    }
    if (chosen == std::set<std::string>{"recovery"}) {
        return print_recovery() ? EXIT_SUCCESS : EXIT_FAILURE;
    }
    std::cout << "Seed " << seed << ", one run in " << every << ".\n\n"
              << std::left << std::setw(28) << "" << std::setw(8) << "family" << std::right << std::setw(8)
              << "tried" << std::setw(12) << "recovered" << std::setw(18) << "ended as stated"
              << std::setw(12) << "fell short" << std::endl;
    std::size_t tried = 0;
    std::size_t short_of = 0;
    for (const auto& part : PARTS) {
        for (const auto family : {Family::SARA, Family::TOBY}) {
            if (!chosen.empty() && chosen.count(part.name) == 0) {
                continue;
            }
            const auto tally = prove(one_in(every, seed, part.runs(family, seed)));
            std::cout << std::left << std::setw(28) << part.title << std::setw(8)
                      << (family == Family::SARA ? "SARA" : "TOBY") << std::right << std::setw(8)
                      << tally.tried << std::setw(12) << tally.recovered << std::setw(18) << tally.ended
                      << std::setw(12) << tally.short_of << std::endl;
            tried += tally.tried;
            short_of += tally.short_of;
        }
    }
    std::cout << '\n' << tried << " tried, " << short_of << " fell short" << std::endl;
    return short_of == 0 && tried > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
