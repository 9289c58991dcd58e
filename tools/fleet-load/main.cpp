// fleet-load: many units' bridges in one process, each with a connection, a certificate and a will of its
// own, that say what a real daemon was recorded to say. See tests/fleet/run.
//
//   fleet-load PORT FOLDER PREFIX UNITS RECORDING LOG
//
// FOLDER has central-ca.crt and PREFIX1.crt, PREFIX1.key and so on. LOG gets a line for each state that is
// published: time, unit, state. Standard input: "change UNIT STATE" publishes one at once, "quit" and its end
// are the end.

#include "bus/message_adapter.hpp"

#include <ecu/kova/date_time.hpp>
#include <ecu/pb/modem.pb.h>
#include <mosquitto.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <poll.h>
#include <queue>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

namespace com = ecu::kova::com;
using ecu::kova::pb::ModemStatus;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr auto STATUS = "system/modem/status";
constexpr auto RECONNECT = 2s;
constexpr auto TIMERS = 1s;      // how often the library's keep-alive is looked after
constexpr int KEEP_ALIVE_S = 60; // as the bridge's
constexpr auto SPREAD = 30s;     // over which the units begin
constexpr auto HOLD = 30s;       // what is changed by hand
constexpr auto LOOK_AGAIN_MS = 50;
constexpr std::size_t STAMP_AT = 10; // docs/bus.md, "Frame"

struct Said {
    Clock::duration offset;
    std::string topic;
    com::Message::Payload payload;
};

struct Recording {
    std::vector<Said> said;
    std::size_t again = 0; ///< where it begins anew: what comes before is the way from supply off
};

std::optional<ModemStatus> status_of(const std::string& topic, const com::Message::Payload& payload)
{
    const auto result = com::PbInternalMessageAdapter<ModemStatus>().deserialize(com::Message(payload));
    return topic == STATUS && result ? std::optional(result.value) : std::nullopt;
}

/// Lines "seconds retained topic hex", as mosquitto_sub -F '%U %r %t %x' writes them.
Recording read_recording(const std::string& path)
{
    Recording recording;
    std::ifstream file(path);
    double begin = 0;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        double time = 0;
        int retained = 0;
        std::string topic;
        std::string hex;
        words >> time >> retained >> topic >> hex;
        begin = recording.said.empty() ? time : begin;
        com::Message::Payload payload;
        for (std::size_t digit = 0; digit + 1 < hex.size(); digit += 2) {
            payload.push_back(static_cast<std::uint8_t>(std::stoi(hex.substr(digit, 2), nullptr, 16)));
        }
        const auto status = status_of(topic, payload);
        recording.said.push_back(
            {std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(time - begin)), topic,
             std::move(payload)});
        if (recording.again == 0 && status && status->state() == ModemStatus::CONNECTED) {
            recording.again = recording.said.size();
        }
    }
    if (recording.again == 0) {
        throw std::runtime_error(path + ": no way to CONNECTED in it");
    }
    return recording;
}

class Unit {
public:
    Unit(std::string id, int port, const std::string& folder, std::FILE* log)
        : id_(std::move(id)), port_(port), log_(log), client_(mosquitto_new(id_.c_str(), false, this))
    {
        const auto bridge = topic("bridge");
        check(mosquitto_tls_set(client_, (folder + "/central-ca.crt").c_str(), nullptr,
                                (folder + "/" + id_ + ".crt").c_str(), (folder + "/" + id_ + ".key").c_str(),
                                nullptr));
        check(mosquitto_will_set(client_, bridge.c_str(), 1, "0", 1, true));
        mosquitto_connect_callback_set(
            client_, [](mosquitto*, void* self, int code) { static_cast<Unit*>(self)->answered(code); });
        mosquitto_disconnect_callback_set(
            client_, [](mosquitto*, void* self, int) { static_cast<Unit*>(self)->connected_ = false; });
    }

    const std::string& id() const { return id_; }
    int socket() const { return mosquitto_socket(client_); }
    bool wants_to_write() const { return mosquitto_want_write(client_); }
    bool is_connected() const { return connected_; }
    std::size_t position = 0;     ///< in the recording
    Clock::time_point held_until; ///< before it, the unit stays at what it was told to say

    void serve(short events)
    {
        if ((events & (POLLIN | POLLERR | POLLHUP)) != 0) {
            static_cast<void>(mosquitto_loop_read(client_, 100));
        }
        if ((events & POLLOUT) != 0) {
            static_cast<void>(mosquitto_loop_write(client_, 100));
        }
    }

    void look_after(Clock::time_point now)
    {
        if (socket() >= 0) {
            static_cast<void>(mosquitto_loop_misc(client_));
        } else if (now >= retry_) {
            retry_ = now + RECONNECT;
            static_cast<void>(begun_ ? mosquitto_reconnect_async(client_)
                                     : mosquitto_connect_async(client_, "localhost", port_, KEEP_ALIVE_S));
            begun_ = true;
        }
    }

    /// As the daemon does it and its bridge hands it on, with the time stamp of now.
    void say(const std::string& what, com::Message::Payload payload)
    {
        const bool is_frame = what.starts_with("system/");
        if (is_frame) {
            const auto now = static_cast<std::uint64_t>(ecu::kova::DateTime::time_since_boot_ns());
            for (std::size_t byte = 0; byte < 8; ++byte) {
                payload.at(STAMP_AT + byte) = static_cast<std::uint8_t>(now >> 8 * byte);
            }
        }
        if (!is_frame && !connected_) {
            return; // a signal is not kept
        }
        if (const auto status = status_of(what, payload); status && status->state() != state_) {
            state_ = status->state();
            const auto time =
                std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch());
            std::fprintf(log_, "%.6f %s %s\n", time.count(), id_.c_str(),
                         ModemStatus::ModemState_Name(*state_).c_str());
            std::fflush(log_);
        }
        // Whatever the connection says: a frame is kept, and sent with the next one.
        static_cast<void>(mosquitto_publish(client_, nullptr, topic(what).c_str(),
                                            static_cast<int>(payload.size()), payload.data(),
                                            is_frame ? 1 : 0, is_frame));
    }

private:
    static void check(int code)
    {
        if (code != MOSQ_ERR_SUCCESS) {
            throw std::runtime_error(mosquitto_strerror(code));
        }
    }
    std::string topic(const std::string& rest) const { return "units/" + id_ + "/" + rest; }
    void answered(int code)
    {
        connected_ = code == 0;
        static_cast<void>(mosquitto_publish(client_, nullptr, topic("bridge").c_str(), 1, "1", 1, true));
    }

    const std::string id_;
    const int port_;
    std::FILE* const log_;
    mosquitto* const client_;
    bool connected_ = false;
    bool begun_ = false;
    Clock::time_point retry_;
    std::optional<ModemStatus::ModemState> state_;
};

class Fleet {
public:
    Fleet(Recording recording, std::vector<std::unique_ptr<Unit>> units)
        : recording_(std::move(recording)), units_(std::move(units))
    {
        // Each is somewhere else in the recording, or a thousand would lose their network at once.
        const auto begin = Clock::now();
        const auto loop = recording_.said.size() - recording_.again;
        for (std::size_t index = 0; index < units_.size(); ++index) {
            units_[index]->position = recording_.again + loop * index / units_.size();
            say_what_stays(*units_[index]);
            due_.emplace(begin + SPREAD * index / units_.size(), index);
        }
    }

    void run()
    {
        while (obey()) {
            const auto now = Clock::now();
            say_what_is_due(now);
            if (now - looked_ >= TIMERS || !all_connected_) {
                looked_ = now;
                look_after(now);
            }
            serve();
        }
    }

private:
    /// What a unit says once, and the broker retains.
    void say_what_stays(Unit& unit) const
    {
        for (const auto& said : recording_.said) {
            if (said.topic == "system/modem/hardware" || said.topic == "system/modem/sim") {
                unit.say(said.topic, said.payload);
            }
        }
    }

    void say_what_is_due(Clock::time_point now)
    {
        while (!due_.empty() && due_.top().first <= now) {
            const auto [time, index] = due_.top();
            due_.pop();
            auto& unit = *units_[index];
            const auto& said = recording_.said[unit.position];
            if (now >= unit.held_until) {
                unit.say(said.topic, said.payload);
            }
            const bool is_last = unit.position + 1 == recording_.said.size();
            const auto rest = is_last ? Clock::duration(10s) // as often as the daemon says its status
                                      : recording_.said[unit.position + 1].offset - said.offset;
            unit.position = is_last ? recording_.again : unit.position + 1;
            due_.emplace(time + rest, index);
        }
    }

    void look_after(Clock::time_point now)
    {
        std::size_t connected = 0;
        for (const auto& unit : units_) {
            unit->look_after(now);
            connected += unit->is_connected() ? 1 : 0;
        }
        if (const bool all = connected == units_.size(); all != all_connected_) {
            all_connected_ = all;
            std::cout << (all ? "all are connected" : "not all are connected") << std::endl;
        }
    }

    void serve()
    {
        descriptors_.clear();
        for (const auto& unit : units_) {
            const short wanted = unit->wants_to_write() ? POLLIN | POLLOUT : POLLIN;
            descriptors_.push_back({unit->socket(), wanted, 0});
        }
        if (poll(descriptors_.data(), descriptors_.size(), next_timeout_ms()) <= 0) {
            return;
        }
        for (std::size_t index = 0; index < units_.size(); ++index) {
            if (descriptors_[index].revents != 0) {
                units_[index]->serve(descriptors_[index].revents);
            }
        }
    }

    int next_timeout_ms() const
    {
        const auto rest = due_.empty() ? Clock::duration(1s) : due_.top().first - Clock::now();
        return static_cast<int>(std::clamp<std::int64_t>(
            std::chrono::duration_cast<std::chrono::milliseconds>(rest).count(), 0, LOOK_AGAIN_MS));
    }

    /// False: the end.
    bool obey()
    {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        if (std::cin.rdbuf()->in_avail() <= 0 && poll(&input, 1, 0) <= 0) {
            return true;
        }
        std::string line; // the next may have been read with it
        std::getline(std::cin, line);
        std::istringstream words(line);
        std::string verb;
        std::string id;
        std::string state;
        words >> verb >> id >> state;
        if (verb == "change") {
            change(id, state);
        }
        return std::cin && verb != "quit";
    }

    void change(const std::string& id, const std::string& state)
    {
        ModemStatus status;
        ModemStatus::ModemState value{};
        const auto unit =
            std::find_if(units_.begin(), units_.end(), [&](const auto& one) { return one->id() == id; });
        if (unit != units_.end() && ModemStatus::ModemState_Parse(state, &value)) {
            (*unit)->held_until = Clock::now() + HOLD;
            status.set_state(value);
            status.set_reset_reason(ModemStatus::NONE);
            (*unit)->say(STATUS, com::PbInternalMessageAdapter<ModemStatus>().serialize(status)->payload());
        }
    }

    const Recording recording_;
    const std::vector<std::unique_ptr<Unit>> units_;
    using Due = std::pair<Clock::time_point, std::size_t>;
    std::priority_queue<Due, std::vector<Due>, std::greater<>> due_;
    std::vector<pollfd> descriptors_;
    Clock::time_point looked_;
    bool all_connected_ = false;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 7) {
        std::cerr << "usage: fleet-load PORT FOLDER PREFIX UNITS RECORDING LOG\n";
        return 2;
    }
    try {
        mosquitto_lib_init();
        std::FILE* const log = std::fopen(argv[6], "w");
        if (log == nullptr) {
            throw std::runtime_error(std::string("cannot write ") + argv[6]);
        }
        std::vector<std::unique_ptr<Unit>> units;
        for (int number = 1; number <= std::stoi(argv[4]); ++number) {
            units.push_back(
                std::make_unique<Unit>(argv[3] + std::to_string(number), std::stoi(argv[1]), argv[2], log));
        }
        Fleet(read_recording(argv[5]), std::move(units)).run();
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "fleet-load: " << error.what() << '\n';
        return 1;
    }
}
