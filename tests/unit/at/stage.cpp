#include "stage.hpp"

#include "support/sleeping_threads.hpp"

#include <cstdlib>
#include <optional>
#include <sstream>
#include <thread>

using namespace std::chrono_literals;
using std::chrono::milliseconds;

Stage::Stage()
{
    plug_in();
    port.add_observer(this);
}

Stage::~Stage()
{
    begin([this] { return port.stop().unwrap() ? "stopped" : ""; });
    finish();
    port_rest::kind = port_rest::Kind::REAL;
}

void Stage::answer(const std::string& line)
{
    if (const auto known = answers.find(line); known != answers.end()) {
        say(known->second.empty() ? "\r\nOK\r\n" : "\r\n" + known->second + "\r\n\r\nOK\r\n");
    }
}

void Stage::begin(std::function<std::string()> work)
{
    calls_.push_back(std::async(std::launch::async, std::move(work)));
}

std::string Stage::text_of(const Result& result)
{
    return result.is_ok() ? result.unwrap().message
                          : std::to_string(static_cast<int>(result.unwrapErr().code)) + ' ' +
                                result.unwrapErr().final_response;
}

std::string Stage::start()
{
    begin([this] {
        const auto started = port.wait_until_available() ? port.start() : PortResult::err("absent");
        return started.is_ok() ? std::to_string(started.unwrap()) : started.unwrapErr();
    });
    return play("end");
}

std::string Stage::play(const std::string& script)
{
    std::istringstream steps(script);
    for (std::string what; std::getline(steps >> std::ws, what, ';');) {
        step(what);
        settle();
    }
    finish();
    return record();
}

void Stage::step(const std::string& what)
{
    std::istringstream words(what);
    std::string word;
    words >> word;
    int number = 0;
    const std::chrono::seconds time(words >> number ? number : 10);
    if (what.starts_with('<')) {
        say("\r\n" + what.substr(1) + "\r\n");
    } else if (word == "wait") {
        pass(time);
    } else if (word == "end") {
        finish();
    } else if (word == "interrupt") {
        port.interrupt();
    } else if (word == "resume") {
        port.resume();
    } else if (word.starts_with("AT")) {
        AtCommand command(word.substr(2), time);
        command.interruptible = word != "AT+CPWROFF";
        begin([=, this] { return text_of(port.execute(command)); });
    } else {
        const std::lock_guard held(mutex_);
        closed_ = word == "close";
        gate_.notify_all();
    }
}

void Stage::urc(const AtCommandResponse& response)
{
    std::unique_lock held(mutex_);
    reports_.push_back(response.message);
    gate_.wait(held, [this] { return !closed_; });
    if (response.value == "fault") {
        throw std::runtime_error("an observer's fault");
    }
}

void Stage::settle()
{
    const auto look = [this]() -> std::optional<long> {
        const bool anything = wire.hear([this](const std::string& line) {
            note('>' + line);
            heard(line);
        });
        const bool is_read = PtyWire::is_read() || !port.is_running(); // what comes behind its end lies there
        return !anything && is_read ? switches_of_sleepers() : std::nullopt;
    };
    for (auto last = look(), now = look(); !now || now != last; last = std::exchange(now, look())) {
        std::this_thread::sleep_for(10us);
    }
    {
        const std::lock_guard held(mutex_);
        for (const auto& report : std::exchange(reports_, {})) {
            note('!' + report);
        }
    }
    std::erase_if(calls_, [this](auto& one) {
        const bool over = one.wait_for(0s) == std::future_status::ready;
        if (over) {
            note('=' + one.get());
        }
        return over;
    });
}

void Stage::pass(milliseconds time)
{
    const auto end = clock.now() + time;
    for (settle(); clock.now() < end; settle()) {
        clock.advance_to_next(std::chrono::ceil<milliseconds>(end - clock.now()));
    }
}

void Stage::finish()
{
    const auto longest = clock.now() + 24h;
    for (settle(); !calls_.empty(); settle()) {
        clock.advance_to_next(1h);
        if (clock.now() > longest) {
            std::abort(); // somebody waits for ever, and cannot be joined
        }
    }
}

void Stage::note(const std::string& text)
{
    const auto now = clock.now();
    if (noted_ != now) {
        const auto time = std::chrono::duration_cast<milliseconds>(now - begin_);
        record_ += (record_.empty() ? "" : "\n") + std::to_string(time.count()) + ':';
        noted_ = now;
    }
    record_ += ' ' + text;
}

std::string Stage::record()
{
    begin_ = clock.now();
    noted_ = {};
    return std::exchange(record_, {});
}
