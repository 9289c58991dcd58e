#include "proof.hpp"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <iostream>
#include <map>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr unsigned int LONGEST_RUN_S = 120; // of the machine's time; they take less than a second
constexpr std::size_t LOG_END = 12'000;     // characters of a log that a failure shows

/// A child at work, and the end of its pipe.
struct Child {
    const Run* run;
    int output;
};

std::string log_end(Unit& unit)
{
    std::ostringstream text;
    for (const auto& record : unit.log.records()) {
        if (record.level <= LogCapture::Level::NOTICE) {
            text << record.text << '\n';
        }
    }
    const auto all = text.str();
    return all.substr(all.size() - std::min(all.size(), LOG_END));
}

[[noreturn]] void be(const Run& run, int output)
{
    static_cast<void>(dup2(output, STDERR_FILENO)); // where a fatal set-up and a sanitizer speak
    alarm(LONGEST_RUN_S);                           // ends what never does
    End end = End::ELSEWHERE;
    try {
        Unit unit(run.family);
        run.what(unit);
        end = unit.end();
        if (end != End::CONNECTED && run.ends.count(end) == 0) {
            std::cerr << "in " << Modem::state_to_str(unit.state()) << (unit.left ? ", given up" : "")
                      << ", resets " << unit.log.count("Reset counter: ") << '\n'
                      << log_end(unit);
        }
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
    }
    std::cerr << std::flush;
    _exit(static_cast<int>(end));
}

std::string everything(int file)
{
    std::string text;
    std::array<char, 4096> buffer{};
    for (ssize_t count = 0; (count = read(file, buffer.data(), buffer.size())) > 0;) {
        text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    close(file);
    return text;
}

} // namespace

Tally prove(const std::vector<Run>& runs)
{
    Tally tally;
    std::map<pid_t, Child> children;
    const std::size_t most = std::max(1U, std::thread::hardware_concurrency());
    const auto finish = [&](std::size_t still) {
        while (children.size() > still) {
            int status = 0;
            const pid_t process = wait(&status);
            const auto found = children.find(process);
            if (found == children.end()) {
                return;
            }
            const Run& run = *found->second.run;
            const auto text = everything(found->second.output);
            children.erase(found);
            const End end = WIFEXITED(status) ? static_cast<End>(WEXITSTATUS(status)) : End::ELSEWHERE;
            ++tally.tried;
            if (end == End::CONNECTED) {
                ++tally.recovered;
            } else if (run.ends.count(end) != 0) {
                ++tally.ended;
            } else {
                ++tally.short_of;
                std::cout << "fell short: " << run.name << "\n" << text << std::endl;
            }
        }
    };
    for (const auto& run : runs) {
        finish(most - 1);
        std::array<int, 2> ends{};
        if (pipe(ends.data()) != 0) {
            throw std::runtime_error("no pipe");
        }
        fcntl(ends[1], F_SETPIPE_SZ, 256 * 1024); // a child never waits for its reader
        std::cout << std::flush;
        const pid_t process = fork();
        if (process == 0) {
            close(ends[0]);
            be(run, ends[1]);
        }
        close(ends[1]);
        if (process < 0) {
            throw std::runtime_error("no process");
        }
        children[process] = {&run, ends[0]};
    }
    finish(0);
    return tally;
}
