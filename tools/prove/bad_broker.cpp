#include "bad_broker.hpp"

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cstdint>
#include <netinet/in.h>
#include <poll.h>
#include <stdexcept>
#include <string_view>
#include <sys/socket.h>

namespace {

using namespace std::string_view_literals;

constexpr int LOOK_MS = 20; // between two looks: of the machine's time, which nothing here depends on
constexpr int BACKLOG = 8;
constexpr std::size_t MOST_CLIENTS = 64; // a client that comes again and again leaves its old lines behind

constexpr auto ACCEPTED = "\x20\x02\0\0"sv; // CONNACK (MQTT 3.1.1, 3.2)
constexpr auto REFUSED = "\x20\x02\0\x05"sv;
constexpr auto BABBLE = "HTTP/1.1 400 \xff\xff\xff\xff\xff\0\0\x20\x99"sv;

int listen_on(int port)
{
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int yes = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener, BACKLOG) != 0) {
        close(listener);
        throw std::runtime_error("cannot listen on port " + std::to_string(port));
    }
    return listener;
}

bool readable(int line, int wait_ms)
{
    pollfd looked{line, POLLIN, 0};
    return poll(&looked, 1, wait_ms) > 0;
}

void say(int line, std::string_view bytes)
{
    static_cast<void>(send(line, bytes.data(), bytes.size(), MSG_NOSIGNAL)); // to whom may have gone
}

} // namespace

BadBroker::BadBroker(int port, Manner manner)
    : manner_(manner), listener_(listen_on(port)), thread_([this] { serve(); })
{
}

BadBroker::~BadBroker()
{
    ends_ = true;
    thread_.join();
}

void BadBroker::serve()
{
    while (!ends_) {
        if (readable(listener_.get(), LOOK_MS)) {
            welcome();
        }
        clients_.erase(std::remove_if(clients_.begin(), clients_.end(),
                                      [this](Client& client) { return !hear(client); }),
                       clients_.end());
    }
}

void BadBroker::welcome()
{
    const int line = accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC);
    if (line >= 0) {
        ++connections_;
        if (clients_.size() == MOST_CLIENTS) {
            clients_.erase(clients_.begin());
        }
        clients_.push_back({UniqueFd(line)});
    }
}

bool BadBroker::hear(Client& client) const
{
    std::array<char, 4096> buffer{};
    const int line = client.line.get();
    if (manner_ == Manner::DEAF || !readable(line, 0)) {
        return true;
    }
    const std::size_t most = manner_ == Manner::SLOW ? 1 : buffer.size();
    if (recv(line, buffer.data(), most, 0) <= 0) {
        return false;
    }
    switch (manner_) {
    case Manner::REFUSING:
        say(line, REFUSED);
        return false;
    case Manner::BABBLING:
        say(line, BABBLE);
        return true;
    case Manner::DROPPING:
        say(line, client.greeted ? "" : ACCEPTED);
        return !std::exchange(client.greeted, true);
    default:
        return true;
    }
}
