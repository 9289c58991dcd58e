#include "mqtt_client.hpp"

#include "thread_without_signals.hpp"

#include <ecu/kova/logging.hpp>

#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace ecu::kova::com {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr auto CONNECT_TIMEOUT = 10s; // for TCP, TLS and the broker's answer together
constexpr auto END_TIMEOUT = 2s;      // for a name service that does not answer
constexpr int CONNECTING_MS = 1000;   // how often the first is looked at
constexpr int TIMERS_MS = 5000;       // and the keep-alive: a ping's delay, of the 15 s that a broker grants

logging::Module& logger()
{
    static auto& own = logging::module("kova.com.mqtt");
    return own;
}

threads::Mutex& library_mutex()
{
    static auto* const mutex = new threads::Mutex; // never destroyed: a detached thread may end after main
    return *mutex;
}

} // namespace

MqttLibrary::MqttLibrary()
{
    const threads::MutexLock lock(library_mutex());
    mosqpp::lib_init();
}

MqttLibrary::~MqttLibrary()
{
    const threads::MutexLock lock(library_mutex());
    mosqpp::lib_cleanup();
}

MqttWorker::MqttWorker(MqttSettings settings)
    : settings_(std::move(settings)), wake_descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (wake_descriptor_ < 0) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

MqttWorker::~MqttWorker()
{
    close(wake_descriptor_);
}

void MqttWorker::run()
{
    while (!stopping_) {
        if (run_session() != End::REPLACED) {
            rest();
        }
    }
    const threads::MutexLock lock(mutex_);
    ended_ = true;
    ended_changed_.notify_all();
}

void MqttWorker::stop()
{
    stopping_ = true;
    wake();
}

bool MqttWorker::wait_until_ended(std::chrono::milliseconds timeout)
{
    const auto deadline = steady_clock::now() + timeout;
    threads::MutexLock lock(mutex_);
    while (!ended_) {
        if (!lock.wait_until(ended_changed_, deadline)) {
            return ended_;
        }
    }
    return true;
}

bool MqttWorker::publish(const std::string& topic, const Message& message)
{
    if (!is_topic(topic) || !outbox_.put(topic, message, publication_qos(topic))) {
        return false;
    }
    wake();
    return true;
}

bool MqttWorker::subscribe(const std::string& topic, std::weak_ptr<ISubscriptionObserver> observer)
{
    if (!is_filter(topic)) {
        return false;
    }
    subscriptions_.add(topic, std::move(observer));
    {
        const threads::MutexLock lock(mutex_);
        unsent_filters_.insert(topic);
    }
    wake();
    return true;
}

bool MqttWorker::last_will(const std::string& topic, const Message& message)
{
    if (!is_will(topic, message)) {
        return false;
    }
    {
        const threads::MutexLock lock(mutex_);
        will_ = Will{topic, message};
        will_is_new_ = true;
    }
    wake();
    return true;
}

void MqttWorker::received(const std::string& topic, const Message& message)
{
    subscriptions_.deliver(topic, message);
}

void MqttWorker::left(std::uint64_t item_id)
{
    outbox_.left(item_id);
}

MqttWorker::End MqttWorker::run_session()
{
    if (!settings_.client_id.empty() && !is_client_id(settings_.client_id)) {
        // The library's object would hold nothing, and end the process at the first touch.
        report_failure({false, "the client id is no text that MQTT takes"});
        return End::FAILED;
    }
    const auto begin = steady_clock::now();
    MqttSession session(settings_, will_for_a_session(), *this);
    const End end = session.open() ? serve_until_over(session) : End::FAILED;
    if (end == End::REPLACED) {
        outbox_.reconnecting();
    } else {
        outbox_.connection_lost();
    }
    if (end != End::FAILED) {
        session.close();
        return end;
    }
    const auto lived = std::chrono::floor<Retries::Delay>(steady_clock::now() - begin);
    retries_.failed({lived, session.was_connected(), session.was_hung_up_on()});
    report_failure(failure_of(session));
    return end;
}

std::optional<Will> MqttWorker::will_for_a_session()
{
    const threads::MutexLock lock(mutex_);
    will_is_new_ = false;
    return will_;
}

MqttWorker::End MqttWorker::serve_until_over(MqttSession& session)
{
    const auto deadline = steady_clock::now() + CONNECT_TIMEOUT;
    bool told = false;
    // Cleared before looking for work and for the end: what comes later wakes again.
    for (clear_wake(); !stopping_; clear_wake()) {
        if (is_to_be_replaced(session)) {
            return End::REPLACED;
        }
        if (session.is_connected() && !hand_over(session)) {
            return End::FAILED;
        }
        if (!session.serve(wake_descriptor_, session.is_connected() ? TIMERS_MS : CONNECTING_MS)) {
            return End::FAILED;
        }
        if (session.is_connected() && !told) {
            told = true;
            session_connected();
        }
        if (!session.is_connected() && steady_clock::now() >= deadline) {
            return End::FAILED;
        }
    }
    return End::STOPPED;
}

/// A will that came behind the connection gets a new one as long as nobody would miss a message: nothing is
/// subscribed to yet (what is published meanwhile would pass by), nothing waits that only a connection holds.
bool MqttWorker::is_to_be_replaced(const MqttSession& session)
{
    if (session.has_subscribed() || !outbox_.outlives_a_reconnect()) {
        return false;
    }
    const threads::MutexLock lock(mutex_);
    return will_is_new_;
}

void MqttWorker::session_connected()
{
    if (failure_reported_) {
        logger().notice(
            "Connected to ", settings_.host, ":", settings_.port, ", after ",
            std::chrono::floor<std::chrono::seconds>(steady_clock::now() - failing_since_).count(),
            " s without");
    } else {
        logger().notice("Connected to ", settings_.host, ":", settings_.port);
    }
    failure_reported_ = false;
    {
        const threads::MutexLock lock(mutex_);
        failure_.reset();
        const auto filters = subscriptions_.filters();
        unsent_filters_.insert(filters.begin(), filters.end());
    }
    outbox_.connected();
}

bool MqttWorker::hand_over(MqttSession& session)
{
    std::set<std::string> filters;
    {
        const threads::MutexLock lock(mutex_);
        filters.swap(unsent_filters_);
    }
    for (const auto& filter : filters) { // lost on failure, but then the next session begins with all of them
        if (!session.subscribe_to(filter)) {
            return false;
        }
    }
    while (const auto item = outbox_.next()) {
        if (!session.send(*item)) {
            return false;
        }
    }
    return true;
}

/// MQTT 3.1.1 has no word for it: the broker hangs up on the one client when another of its id comes (3.1.4).
ConnectionFailure MqttWorker::failure_of(const MqttSession& session) const
{
    if (retries_.id_seems_taken()) {
        return {true, "the broker keeps hanging up: the client id '" + settings_.client_id +
                          "' is in use elsewhere"};
    }
    return {session.was_refused(),
            session.failure().empty() ? "the broker does not answer" : session.failure()};
}

std::optional<ConnectionFailure> MqttWorker::failure() const
{
    const threads::MutexLock lock(mutex_);
    return failure_;
}

/// The first of a row at WARNING: a broker that stays away for a day must not fill the log.
void MqttWorker::report_failure(ConnectionFailure failure)
{
    const auto level = failure_reported_ ? logging::Level::DEBUG : logging::Level::WARNING;
    logger().write(level, "No connection to ", settings_.host, ":", settings_.port, ": ", failure.reason,
                   "; trying again for ever, next in ", retries_.delay().count(), " s");
    if (!failure_reported_) {
        failing_since_ = steady_clock::now();
    }
    failure_reported_ = true;
    const threads::MutexLock lock(mutex_);
    failure_ = std::move(failure);
}

void MqttWorker::rest()
{
    const auto end = steady_clock::now() + retries_.delay();
    retries_.lengthen_delay();
    while (!stopping_) {
        const auto remaining = std::chrono::ceil<std::chrono::milliseconds>(end - steady_clock::now());
        if (remaining <= 0ms) {
            return;
        }
        clear_wake();
        pollfd wanted{wake_descriptor_, POLLIN, 0};
        static_cast<void>(poll(&wanted, 1, stopping_ ? 0 : static_cast<int>(remaining.count())));
    }
}

void MqttWorker::wake()
{
    static_cast<void>(eventfd_write(wake_descriptor_, 1)); // full means that it is awake
}

void MqttWorker::clear_wake()
{
    eventfd_t count = 0;
    static_cast<void>(eventfd_read(wake_descriptor_, &count));
}

MqttClient::MqttClient(const config::Configuration& configuration)
    : worker_(std::make_shared<MqttWorker>(MqttSettings::from(configuration)))
{
    thread_ = thread_without_signals([worker = worker_] { worker->run(); });
}

MqttClient::~MqttClient()
{
    worker_->stop();
    // The thread owns the worker too and ends by itself where it cannot be waited for: when an observer held
    // the last reference to the client, or while the name service takes its time.
    if (thread_.get_id() != std::this_thread::get_id() && worker_->wait_until_ended(END_TIMEOUT)) {
        thread_.join();
    } else {
        thread_.detach();
    }
}

bool MqttClient::publish(const std::string& topic, const Message& message)
{
    return worker_->publish(topic, message);
}

bool MqttClient::subscribe(const std::string& topic, std::weak_ptr<ISubscriptionObserver> observer)
{
    return worker_->subscribe(topic, std::move(observer));
}

bool MqttClient::flush(std::chrono::milliseconds timeout)
{
    // The client's own thread is the one that sends: from within an observer there is nothing to wait for.
    const bool own_thread = thread_.get_id() == std::this_thread::get_id();
    return worker_->outbox().wait_until_empty(own_thread ? 0ms : timeout);
}

bool MqttClient::is_connected() const
{
    return worker_->outbox().is_connected();
}

bool MqttClient::last_will(const std::string& topic, const Message& message)
{
    return worker_->last_will(topic, message);
}

std::optional<ConnectionFailure> MqttClient::connection_failure() const
{
    return worker_->failure();
}

} // namespace ecu::kova::com
