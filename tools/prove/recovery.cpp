#include "recovery.hpp"

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>

using namespace std::chrono_literals;

namespace {

using Family = Unit::Family;
using Seconds = std::chrono::duration<double>;

constexpr const char* HEAD = R"(# How long a recovery takes

<!-- Printed by `prove recovery > docs/recovery.md`. Change the program, not this text. -->

One fault at each command of a cold boot and of a minute of connection, in virtual time with a module that answers at
once otherwise. Where the connection held, nothing had to be recovered. Else: seconds from the fault to `CONNECTED`;
beside the median and the worst the fixed waits on the road that was taken then, which are the time-out of the command,
the module's own absence, and the way of a good module from where it had to begin anew (the command, the port, or the
supply).

)";

constexpr const char* TABLE_HEAD = R"(| fault | family | runs | held | median | waits | worst | waits |
|---|---|---:|---:|---:|---:|---:|---:|
)";

constexpr const char* WHY_LONG = R"(
In each of them a sequence was gone through again, as it must be: the selection of the SIM with its nine seconds of
pauses, or the set-up of the context behind the five that a search needs to end.
)";

std::string seconds(std::chrono::milliseconds time)
{
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << Seconds(time).count();
    return text.str();
}

/// Of one kind of fault.
void print_row(const std::string& fault, Family family, std::vector<Measured> all)
{
    const auto held = static_cast<std::size_t>(
        std::count_if(all.begin(), all.end(), [](const Measured& one) { return one.recovery.held; }));
    const auto runs = all.size();
    std::erase_if(all, [](const Measured& one) { return one.recovery.held; });
    std::sort(all.begin(), all.end(), [](const Measured& one, const Measured& other) {
        return std::pair(one.recovery.took, one.recovery.waits) <
               std::pair(other.recovery.took, other.recovery.waits);
    });
    if (all.empty()) {
        return;
    }
    const auto& median = all[all.size() / 2].recovery;
    const auto& worst = all.back().recovery;
    std::cout << "| " << fault << " | " << name_of(family) << " | " << runs << " | " << held << " | "
              << seconds(median.took) << " | " << seconds(median.waits) << " | " << seconds(worst.took)
              << " | " << seconds(worst.waits) << " |\n";
}

void print_long_ones(std::vector<Measured> all)
{
    std::erase_if(all, [](const Measured& one) { return !took_long(one.recovery); });
    std::sort(all.begin(), all.end(),
              [](const Measured& one, const Measured& other) { return one.run < other.run; });
    std::cout << "\nThose that took more than " << MUCH << " times the waits and " << A_FEW_PASSES.count()
              << " s:\n\n";
    for (const auto& one : all) {
        std::cout << "- " << one.run << ": " << seconds(one.recovery.took) << " s in place of "
                  << seconds(one.recovery.waits) << " s\n";
    }
    std::cout << (all.empty() ? "None.\n" : WHY_LONG);
}

} // namespace

void print_recoveries(const std::vector<Measured>& all)
{
    std::map<std::pair<Family, std::string>, std::vector<Measured>> kinds;
    for (const auto& one : all) {
        kinds[{one.family, one.fault}].push_back(one);
    }
    std::cout << TABLE_HEAD;
    for (const auto& [kind, some] : kinds) {
        print_row(kind.second, kind.first, some);
    }
    print_long_ones(all);
}

bool print_recovery()
{
    std::vector<Measured> all;
    bool all_right = true;
    for (const auto family : {Family::SARA, Family::TOBY}) {
        std::size_t ended = 0;
        auto runs = single_faults(family, 0);
        std::erase_if(runs, [](const Run& run) { return run.fault.empty(); });
        make(runs, [&](const Run& run, const Outcome& outcome) {
            if (const auto one = measured(run, outcome)) {
                all.push_back(*one);
            } else if (run.ends.count(outcome.end) != 0) {
                ++ended;
            } else {
                all_right = false;
                std::cerr << "fell short: " << run.name << '\n' << outcome.text << '\n';
            }
        });
        std::cerr << ended << " ended as they may\n";
    }
    std::cout << HEAD;
    print_recoveries(all);
    std::cout << std::flush;
    return all_right;
}
