#include "stage.hpp"

#include <algorithm>
#include <random>

using namespace std::chrono_literals;
using std::chrono::milliseconds;

namespace {

constexpr auto TIMEOUT = 2s; // of every command
constexpr milliseconds PACE{10};

/// Against a module that answers one command after the other, some of them late. What comes meanwhile waits
/// in its buffer or is lost. Every answer but a bare OK carries its command and a number that comes once.
class InStep : public Stage {
protected:
    InStep()
    {
        heard = [this](const std::string& line) {
            const auto now = clock.now();
            if (loses && now < busy_until) {
                return;
            }
            busy_until = std::max(now, busy_until) + delay_of(line);
            clock.at(std::chrono::ceil<milliseconds>(busy_until - now),
                     [=, this, number = ++last_number] { answer(line, number); });
        };
        start();
    }

    /// The command ends with its own answer or fails. 1 when it was answered.
    int run(const std::string& command)
    {
        const auto before = last_number;
        const auto seen = play("AT" + command + " 2");
        const auto got = seen.substr(seen.rfind(" =") + 2);
        EXPECT_EQ(seen.find("!+C"), std::string::npos) << seen; // no query of the port's own is a report
        if (got.starts_with("2 ")) {
            return 0;
        }
        const auto& [number, text] = answered["AT" + command];
        EXPECT_TRUE(number > before && got.ends_with(text) && text.empty() == got.empty())
            << command << " (" << text << ") took another's answer: '" << got << "'";
        return 1;
    }

    std::function<milliseconds(const std::string& line)> delay_of = [](const auto&) { return PACE; };
    bool loses = false;
    Clock::time_point busy_until{};

private:
    void answer(const std::string& line, int number)
    {
        const bool is_data = line == "AT+CGSN" || line == "AT+GMI";
        const bool is_refused = line == "AT+CPIN?" || line == "AT+CGACT=1,1";
        auto& text = answered[line].second;
        answered[line].first = number;
        if (is_data) {
            text = std::to_string(490154200000000 + number);
        } else if (is_refused || line == "AT+CSQ" || (line.ends_with('?') && line != "AT+CGDCONT?")) {
            text = '"' + line + "\"," + std::to_string(number);
        }
        const auto name = line.substr(2, line.find_first_of("?=", 2) - 2);
        const auto before_ok = text.empty() ? "" : "\r\n" + (is_data ? text : name + ": " + text) + "\r\n";
        say(is_refused ? "\r\n+CME ERROR: " + text + "\r\n" : before_ok + "\r\nOK\r\n");
    }

    int last_number = 0;
    std::map<std::string, std::pair<int, std::string>> answered; // the newest of each line
};

} // namespace

// Any answer of a dialogue is late by any time: one of them, or every other one. The module takes its time
// for the rest too.
TEST_F(InStep, WhateverIsLateACommandGetsItsOwnAnswerOrFails)
{
    constexpr int SEEDS = 40;
    std::vector<const char*> dialogue{"+CREG?",   "+CGREG?",    "+UREG?", "+CGACT?", "+COPS?",
                                      "+CSQ",     "+CGSN",      "+GMI",   "+COPS=0", "+COPS=2",
                                      "+UANTR=0", "+CGACT=1,1", "+CPIN?", "+CCLK?"};
    int answers_taken = 0;
    for (int seed = 1; seed <= SEEDS && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(static_cast<unsigned>(seed));
        std::shuffle(dialogue.begin(), dialogue.end(), random);
        const auto one = std::string("AT") + dialogue[random() % dialogue.size()];
        const bool many = random() % 3 == 0;
        const auto pace = milliseconds(10 << random() % 9); // up to beyond the time-out
        loses = random() % 2 != 0;
        delay_of = [=](const std::string& line) mutable {
            if (many ? random() % 2 == 0 : line != one) {
                return pace;
            }
            const milliseconds later[] = {0ms, 100ms, 5s, 30s, 200s};
            return TIMEOUT - 50ms + later[random() % 5] + milliseconds(random() % 100);
        };
        for (const char* command : dialogue) {
            answers_taken += run(command);
        }
        delay_of = [](const auto&) { return PACE; };
        while (clock.now() < busy_until) {
            pass(10s);
        }
        // A module that is through with everything is understood again; not how soon. A query without lines.
        EXPECT_TRUE(run("+CGDCONT?") + run("+CGDCONT?") + run("+CGDCONT?") > 0);
    }
    EXPECT_GT(answers_taken, SEEDS * 5) << "too little to tell";
}
