#include "mqtt_session.hpp"

#include "subscriptions.hpp"

#include <ecu/kova/logging.hpp>
#include <ecu/kova/root.hpp>
#include <mosquitto.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <poll.h>
#include <sys/socket.h>
#include <system_error>
#include <threads/mutex.hpp>
#include <utility>

namespace ecu::kova::com {

namespace {

constexpr int DEFAULT_PORT = 1883;               // IANA, mqtt
constexpr std::size_t LONGEST_CLIENT_ID = 65535; // bytes; MQTT 3.1.1, 1.5.3
constexpr int IDENTIFIER_REJECTED = 2;           // MQTT 3.1.1, 3.2.2.3
constexpr int SERVER_UNAVAILABLE = 3;            // likewise: another try may find it ready
constexpr int KEEP_ALIVE_S = 30;                 // a broker whose host has vanished is noticed within 45 s
constexpr int MOST_PACKETS = 100; // read in one go, so that a flood does not keep the outbox waiting
constexpr std::size_t LONGEST_COMPLAINT = 200;            // characters; OpenSSL's texts stay below
constexpr std::size_t LARGEST_RECEIVED = 1024UL * 1024UL; // bytes; nothing on this bus comes near

/// QoS 1: what is missed would be missed for good; real-time signals come again.
int subscription_qos(const std::string& filter)
{
    return filter.starts_with("rt/") ? 0 : 1;
}

std::string text_of(int code, int system_error)
{
    if (code == MOSQ_ERR_ERRNO) {
        return std::generic_category().message(system_error);
    }
    if (code == MOSQ_ERR_KEEPALIVE) { // has no text in the library
        return "no sign of life from the broker";
    }
    return mosqpp::strerror(code);
}

const char* or_null(const std::string& text)
{
    return text.empty() ? nullptr : text.c_str();
}

} // namespace

MqttSettings MqttSettings::from(const config::Configuration& configuration)
{
    MqttSettings settings;
    settings.host = configuration.get("host").empty() ? "localhost" : configuration.get("host");
    settings.port = DEFAULT_PORT;
    const std::string port = configuration.get("port"); // verified by whoever read the configuration
    std::from_chars(port.data(), port.data() + port.size(), settings.port);
    settings.client_id = configuration.get("client_name");
    settings.username = configuration.get("bus.username");
    settings.password = configuration.get("bus.password");
    settings.ca_file = rooted(configuration.get("bus.cafile"));
    settings.certificate_file = rooted(configuration.get("bus.certfile"));
    settings.key_file = rooted(configuration.get("bus.keyfile"));
    return settings;
}

bool is_client_id(const std::string& text)
{
    return !text.empty() && text.size() <= LONGEST_CLIENT_ID &&
           mosquitto_validate_utf8(text.data(), static_cast<int>(text.size())) == MOSQ_ERR_SUCCESS;
}

MqttSession::MqttSession(const MqttSettings& settings, std::optional<Will> will, IMqttSessionOwner& owner)
    : mosquittopp(or_null(settings.client_id), true), settings_(settings), owner_(owner),
      will_(std::move(will))
{
}

bool MqttSession::open()
{
    return set_up_security() && set_up_will() && begin_to_connect();
}

/// The library sets TLS up when a client of the process first connects, and takes no lock for it: one at a
/// time, even if another's host name takes long to resolve.
bool MqttSession::begin_to_connect()
{
    static threads::Mutex setting_tls_up;
    const auto connect = [this] {
        return check("connecting", connect_async(settings_.host.c_str(), settings_.port, KEEP_ALIVE_S));
    };
    if (settings_.ca_file.empty()) {
        return connect();
    }
    const threads::MutexLock lock(setting_tls_up);
    return connect();
}

bool MqttSession::set_up_security()
{
    if (!settings_.username.empty() &&
        !check("setting the user name",
               username_pw_set(settings_.username.c_str(), or_null(settings_.password)))) {
        return false;
    }
    return settings_.ca_file.empty() ||
           check("reading bus.cafile, bus.certfile or bus.keyfile",
                 tls_set(settings_.ca_file.c_str(), nullptr, or_null(settings_.certificate_file),
                         or_null(settings_.key_file)));
}

bool MqttSession::set_up_will()
{
    if (!will_) {
        return true;
    }
    const auto& payload = will_->message.payload();
    return check("setting the last will",
                 will_set(will_->topic.c_str(), static_cast<int>(payload.size()), payload.data(),
                          publication_qos(will_->topic), will_->message.retained()));
}

/// The library does not look at the outcome of connecting where TLS is to follow: it would try its handshake
/// on a socket that was refused, again and again. False: the connection cannot be made, see `failure`.
bool MqttSession::has_reached_the_broker(short events)
{
    if (reached_ || (events & (POLLOUT | POLLERR | POLLHUP)) == 0) {
        return true;
    }
    int error = 0;
    socklen_t length = sizeof error;
    if (getsockopt(socket(), SOL_SOCKET, SO_ERROR, &error, &length) != 0) {
        error = errno;
    }
    // The library begins its handshake at once, which takes the socket's error where the refusal was quick.
    sockaddr_storage peer{};
    socklen_t peer_length = sizeof peer;
    if (error == 0 && getpeername(socket(), reinterpret_cast<sockaddr*>(&peer), &peer_length) != 0) {
        error = errno;
    }
    reached_ = error == 0;
    errno = error;
    return check("connecting", reached_ ? MOSQ_ERR_SUCCESS : MOSQ_ERR_ERRNO);
}

bool MqttSession::serve(int wake_descriptor, int timeout_ms)
{
    const short wanted = want_write() || !reached_ ? POLLIN | POLLOUT : POLLIN;
    std::array<pollfd, 2> descriptors{pollfd{socket(), wanted, 0}, pollfd{wake_descriptor, POLLIN, 0}};
    if (descriptors[0].fd < 0) {
        return check("talking to the broker", MOSQ_ERR_CONN_LOST);
    }
    // Interrupted or timed out: the events are empty, and the library's own timers are served all the same.
    if (poll(descriptors.data(), descriptors.size(), timeout_ms) > 0) {
        const short events = descriptors[0].revents;
        if (!has_reached_the_broker(events)) {
            return false;
        }
        if ((events & (POLLIN | POLLERR | POLLHUP)) != 0 && !check("reading", loop_read(MOST_PACKETS))) {
            return false;
        }
        if ((events & (POLLOUT | POLLERR | POLLHUP)) != 0 && !check("writing", loop_write(MOST_PACKETS))) {
            return false;
        }
    }
    return failure_.empty() && check("keeping alive", loop_misc());
}

void MqttSession::close()
{
    static_cast<void>(disconnect()); // polite only: the descriptor is closed by the destructor anyway
}

bool MqttSession::subscribe_to(const std::string& filter)
{
    subscribed_ = true;
    return check("subscribing", subscribe(nullptr, filter.c_str(), subscription_qos(filter)));
}

bool MqttSession::send(const Outbox::Item& item)
{
    // The library writes the message id before it sends, and may call on_publish before `publish` returns.
    auto& sent = sent_.emplace_back(Sent{0, item.id});
    const auto& payload = item.message.payload();
    const int code = publish(&sent.message_id, item.topic.c_str(), static_cast<int>(payload.size()),
                             payload.data(), item.qos, item.message.retained());
    return check("publishing", code);
}

void MqttSession::on_subscribe(int /*message_id*/, int count, const int* granted_qos)
{
    constexpr int REFUSED = 0x80; // MQTT 3.1.1, 3.9.3
    for (int i = 0; i < count; ++i) {
        if (granted_qos[i] >= REFUSED) {
            logging::module("kova.com.mqtt")
                .error("The broker refuses a subscription: nothing is heard there");
        }
    }
}

void MqttSession::on_connect(int code)
{
    connected_ = code == 0;
    refused_ = code != 0 && code != SERVER_UNAVAILABLE;
    if (code == IDENTIFIER_REJECTED) {
        failure_ = "the broker refused: the client id '" + settings_.client_id +
                   "' is not to its liking, or is in use elsewhere";
    } else if (code != 0) {
        failure_ = std::string("the broker refused: ") + mosqpp::connack_string(code);
    }
}

void MqttSession::on_message(const mosquitto_message* message)
{
    if (message->payloadlen < 0 || static_cast<std::size_t>(message->payloadlen) > LARGEST_RECEIVED) {
        logging::module("kova.com.mqtt").warning("Message on ", message->topic, " is too large, dropped");
        return;
    }
    Message::Payload payload;
    if (message->payloadlen > 0) {
        const auto* const bytes = static_cast<const std::uint8_t*>(message->payload);
        payload.assign(bytes, bytes + message->payloadlen);
    }
    Message received(std::move(payload));
    received.retained(message->retain);
    owner_.received(message->topic, received);
}

void MqttSession::on_publish(int message_id)
{
    const auto found = std::find_if(sent_.begin(), sent_.end(),
                                    [&](const Sent& sent) { return sent.message_id == message_id; });
    if (found != sent_.end()) {
        const auto item_id = found->item_id;
        sent_.erase(found);
        owner_.left(item_id);
    }
}

/// Of all that the library tells only what says more than its codes do: for a certificate that is refused,
/// OpenSSL's own words.
void MqttSession::on_log(int level, const char* text)
{
    if (level == MOSQ_LOG_ERR && complaint_.empty()) {
        complaint_ = std::string(text).substr(0, LONGEST_COMPLAINT);
    }
}

bool MqttSession::check(const char* what, int code)
{
    const int system_error = errno;
    if (code == MOSQ_ERR_SUCCESS || code == MOSQ_ERR_CONN_PENDING) {
        return true;
    }
    hung_up_on_ = hung_up_on_ || code == MOSQ_ERR_CONN_LOST;
    if (failure_.empty()) {
        failure_ = std::string(what) + " failed: " + text_of(code, system_error);
        if (code == MOSQ_ERR_TLS && !complaint_.empty()) {
            failure_ += " (" + complaint_ + ")";
        }
    }
    return false;
}

} // namespace ecu::kova::com
