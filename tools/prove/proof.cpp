#include "proof.hpp"

#include "modem/persistent_settings.hpp"

#include <algorithm>
#include <array>
#include <csignal>
#include <fcntl.h>
#include <iostream>
#include <map>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <tuple>
#include <unistd.h>

namespace {

constexpr unsigned int LONGEST_RUN_S = 120; // of the machine's time; they take less than a second
constexpr int OUTPUT_BYTES = 256 * 1024;    // a child never waits for its reader

/// Made before the first run that asks for them, so that its process has them.
const Facts& good_of(const Run& run)
{
    static std::map<std::tuple<Unit::Family, void (*)(Unit&), bool>, Facts> facts;
    const std::tuple unit(run.family, run.kind.fitted, run.kind.wired);
    if (facts.count(unit) == 0) {
        facts[unit] = good_facts(run.family, {.wired = run.kind.wired, .fitted = run.kind.fitted});
    }
    return facts.at(unit);
}

/// What did not hold on the way, and what is not so in the end though all is good.
std::string what_is_wrong(const Run& run, Unit& unit, End end)
{
    std::vector<std::string> all;
    if (end == End::CONNECTED && run.all_good) {
        all = differences(good_of(run), unit.facts());
    }
    all.insert(all.end(), unit.watch.broken().begin(), unit.watch.broken().end());
    std::string text;
    for (const auto& one : all) {
        text += one + '\n';
    }
    return text;
}

/// What a child hands over besides its words.
struct Handover {
    Recovery recovery;
    std::uint64_t road = 0;
};

/// Whatever ends the run.
class RoadAtTheEnd {
public:
    RoadAtTheEnd(Unit& unit, std::uint64_t& road) : unit_(unit), road_(road) {}
    RoadAtTheEnd(const RoadAtTheEnd&) = delete;
    RoadAtTheEnd& operator=(const RoadAtTheEnd&) = delete;
    ~RoadAtTheEnd() { road_ = unit_.road(); }

private:
    Unit& unit_;
    std::uint64_t& road_;
};

End be(const Run& run, Handover& handover)
{
    Unit unit(run.family, run.kind);
    const RoadAtTheEnd road(unit, handover.road);
    run.what(unit);
    handover.recovery = unit.recovery;
    const End end = unit.end();
    if (end != End::CONNECTED && run.ends.count(end) == 0) {
        std::cerr << "in " << Modem::state_to_str(unit.state()) << (unit.left ? ", given up" : "")
                  << ", resets " << unit.watch.resets() << '\n'
                  << unit.watch.story();
        return end;
    }
    const auto broken = what_is_wrong(run, unit, end);
    if (broken.empty()) {
        return end;
    }
    std::cerr << broken << unit.watch.story();
    return End::BROKEN;
}

/// A run in a process of its own.
class Child {
public:
    explicit Child(const Run& run)
        : run_(&run), handover_(static_cast<Handover*>(mmap(nullptr, sizeof(Handover), PROT_READ | PROT_WRITE,
                                                            MAP_SHARED | MAP_ANONYMOUS, -1, 0)))
    {
        std::array<int, 2> ends{};
        if (handover_ == MAP_FAILED || pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("no memory or no pipe");
        }
        *handover_ = {};
        fcntl(ends[1], F_SETPIPE_SZ, OUTPUT_BYTES);
        std::cout << std::flush;
        process_ = fork();
        if (process_ == 0) {
            begin(ends[1]);
        }
        close(ends[1]);
        output_ = ends[0];
        if (process_ < 0) {
            throw std::runtime_error("no process");
        }
    }

    pid_t process() const { return process_; }
    const Run& run() const { return *run_; }

    /// Once it has ended, with this status.
    Outcome outcome(int status)
    {
        Outcome outcome{WIFEXITED(status) ? static_cast<End>(WEXITSTATUS(status)) : End::ELSEWHERE,
                        handover_->recovery, handover_->road, ""};
        std::array<char, 4096> buffer{};
        for (ssize_t count = 0; (count = read(output_, buffer.data(), buffer.size())) > 0;) {
            outcome.text.append(buffer.data(), static_cast<std::size_t>(count));
        }
        if (WIFSIGNALED(status)) {
            outcome.text += WTERMSIG(status) == SIGALRM
                                ? "it went on for " + std::to_string(LONGEST_RUN_S) + " s"
                                : "ended by signal " + std::to_string(WTERMSIG(status));
        }
        close(output_);
        munmap(handover_, sizeof(Handover));
        return outcome;
    }

private:
    [[noreturn]] void begin(int output)
    {
        static_cast<void>(dup2(output, STDERR_FILENO)); // where a fatal set-up and a sanitizer speak
        alarm(LONGEST_RUN_S);                           // ends what never does
        End end = End::ELSEWHERE;
        try {
            end = be(*run_, *handover_);
        } catch (const SetUpImpossible& impossible) {
            std::cerr << impossible.what() << '\n';
            end = End::FATAL;
        } catch (const std::exception& error) {
            std::cerr << error.what() << '\n';
        }
        std::cerr << std::flush;
        _exit(static_cast<int>(end));
    }

    const Run* run_;
    Handover* handover_; // shared with the child
    pid_t process_ = -1;
    int output_ = -1;
};

bool is_right(const Run& run, End end)
{
    return end == End::CONNECTED || run.ends.count(end) != 0;
}

} // namespace

void make(const std::vector<Run>& runs, const std::function<void(const Run&, const Outcome&)>& done)
{
    std::map<pid_t, Child> children;
    const std::size_t most = std::max(1U, std::thread::hardware_concurrency());
    const auto finish = [&](std::size_t still) {
        while (children.size() > still) {
            int status = 0;
            const auto found = children.find(wait(&status));
            if (found == children.end()) {
                return;
            }
            auto child = found->second;
            children.erase(found);
            done(child.run(), child.outcome(status));
        }
    };
    for (const auto& run : runs) {
        if (run.all_good) {
            static_cast<void>(good_of(run));
        }
        finish(most - 1);
        const Child child(run);
        children.emplace(child.process(), child);
    }
    finish(0);
}

std::optional<Measured> measured(const Run& run, const Outcome& outcome)
{
    if (run.fault.empty() || outcome.end != End::CONNECTED || !outcome.recovery.measured) {
        return std::nullopt;
    }
    return Measured{run.name, run.fault, run.family, outcome.recovery};
}

Tally prove(const std::vector<Run>& runs)
{
    Tally tally;
    std::vector<const Run*> to_explain;
    make(runs, [&](const Run& run, const Outcome& outcome) {
        ++tally.tried;
        if (!run.kind.mqtt) {
            tally.roads[run.name] = outcome.road;
        }
        if (const auto one = measured(run, outcome)) {
            tally.recoveries.push_back(*one);
        }
        if (!is_right(run, outcome.end)) {
            ++tally.short_of;
            std::cout << "fell short: " << run.name << '\n' << outcome.text << std::endl;
            to_explain.push_back(&run);
        } else {
            ++(outcome.end == End::CONNECTED ? tally.recovered : tally.ended);
        }
    });
    for (const auto* run : to_explain) {
        if (run->explain) {
            std::cout << run->name << ": " << run->explain() << std::endl;
        }
    }
    return tally;
}

bool falls_short(const Run& run)
{
    bool right = false;
    make({run}, [&right](const Run& made, const Outcome& outcome) { right = is_right(made, outcome.end); });
    return !right;
}
