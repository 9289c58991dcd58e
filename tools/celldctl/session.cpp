#include "session.hpp"

#include <ecu/kova/root.hpp>

#include <charconv>
#include <csignal>
#include <ctime>
#include <fstream>
#include <iostream>
#include <unistd.h>

namespace celldctl {

namespace {

using namespace std::chrono_literals;
namespace kova = ecu::kova;

constexpr auto CONNECT_TIMEOUT = 10s; // three tries of the client
constexpr auto LOOK_AGAIN = 20ms;
constexpr int LONGEST_SECONDS = 86'400;

sigset_t stop_set()
{
    sigset_t set{};
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    return set;
}

} // namespace

std::optional<std::string> Arguments::take_option(const std::string& name)
{
    for (auto word = words_.begin(); word != words_.end(); ++word) {
        std::optional<std::string> value;
        if (word->rfind(name + "=", 0) == 0) {
            value = word->substr(name.size() + 1);
        } else if (*word != name) {
            continue;
        } else if (std::next(word) == words_.end()) {
            throw UsageError(name + " needs a value");
        } else {
            word = words_.erase(word); // now at the value
            value = *word;
        }
        words_.erase(word);
        return value;
    }
    return std::nullopt;
}

std::optional<std::chrono::seconds> Arguments::take_seconds(const std::string& name)
{
    const auto text = take_option(name);
    if (!text) {
        return std::nullopt;
    }
    int seconds = 0;
    const auto* const end = text->data() + text->size();
    const auto [rest, error] = std::from_chars(text->data(), end, seconds);
    if (error != std::errc{} || rest != end || seconds < 1 || seconds > LONGEST_SECONDS) {
        throw UsageError(name + " needs a number of seconds from 1 to 86400, not '" + *text + "'");
    }
    return std::chrono::seconds(seconds);
}

bool Arguments::take_flag(const std::string& name)
{
    return std::erase(words_, name) > 0;
}

std::optional<std::string> Arguments::take_word()
{
    if (words_.empty() || words_.front().rfind("--", 0) == 0) {
        return std::nullopt;
    }
    std::string word = words_.front();
    words_.erase(words_.begin());
    return word;
}

void Arguments::expect_none() const
{
    if (!words_.empty()) {
        throw UsageError("'" + words_.front() + "' is not understood here");
    }
}

StopSignals::StopSignals()
{
    const sigset_t set = stop_set();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

bool StopSignals::wait(std::chrono::milliseconds timeout)
{
    const sigset_t set = stop_set();
    const auto seconds = std::chrono::floor<std::chrono::seconds>(timeout);
    const timespec limit{seconds.count(), std::chrono::nanoseconds(timeout - seconds).count()};
    stopped_ = stopped_ || sigtimedwait(&set, nullptr, &limit) > 0;
    return stopped_;
}

std::string Session::broker() const
{
    return configuration.get("host") + ":" + configuration.get("port");
}

std::string Session::no_answer_within(std::chrono::seconds timeout) const
{
    return "no answer from " + broker() + " within " + std::to_string(timeout.count()) + " s";
}

std::shared_ptr<kova::com::ITransportClient> Session::connect_in_background() const
{
    return kova::com::create_client(configuration, kova::com::TransportType::MQTT);
}

std::shared_ptr<kova::com::ITransportClient> Session::connect()
{
    auto client = connect_in_background();
    const auto deadline = std::chrono::steady_clock::now() + CONNECT_TIMEOUT;
    while (!client->is_connected()) {
        if (stop.wait(LOOK_AGAIN)) {
            return nullptr;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            complain("no connection to " + broker() + " within " + std::to_string(CONNECT_TIMEOUT.count()) +
                     " s");
            return nullptr;
        }
    }
    return client;
}

void read_bus_configuration(kova::config::Configuration& configuration)
{
    const std::string path = kova::rooted("/etc/vexa/celld.conf");
    configuration.set_default("host", "localhost");
    configuration.set_default("port", "1883");
    if (std::ifstream file(path); file) {
        kova::config::set_config_from_input(configuration, file, path);
    }
    configuration.set("client_name", "celldctl-" + std::to_string(getpid()));
}

void complain(std::string_view text)
{
    std::cerr << "celldctl: " << text << std::endl;
}

} // namespace celldctl
