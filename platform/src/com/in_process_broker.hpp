#pragma once

#include "subscriptions.hpp"

#include <ecu/kova/com/transport_client.hpp>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <threads/mutex.hpp>
#include <utility>
#include <vector>

namespace ecu::kova::com {

/// What the in-process broker knows of one client. Save `subscriptions`, everything is guarded by the
/// broker's mutex.
struct InProcessMailbox {
    using Letter = std::pair<std::string, Message>;

    void take_in(const std::string& topic, const Message& message);
    bool idle() const { return inbox.empty() && !delivering; }

    Subscriptions subscriptions;
    std::deque<Letter> inbox;
    std::deque<Letter> kept; // retained messages of an outage, the newest of each topic
    std::optional<Letter> will;
    bool delivering = false;
    bool stopping = false;
    std::condition_variable changed;
};

/// The broker that the clients of TransportType::IN_PROCESS share, and what a test wants to know of it. Any
/// thread.
class InProcessBroker {
public:
    using Mailbox = std::shared_ptr<InProcessMailbox>;
    using Letter = InProcessMailbox::Letter;

    static InProcessBroker& instance();

    // For the clients.
    void add(Mailbox mailbox);
    void remove(const Mailbox& mailbox);
    /// The body of a client's thread.
    void deliver_until_removed(InProcessMailbox& mailbox);
    bool publish(InProcessMailbox& from, const std::string& topic, const Message& message);
    void subscribe(InProcessMailbox& mailbox, const std::string& filter,
                   std::weak_ptr<ISubscriptionObserver> observer);
    void last_will(InProcessMailbox& mailbox, const std::string& topic, const Message& message);
    bool wait_until_sent(const InProcessMailbox& mailbox, std::chrono::milliseconds timeout);
    bool is_away();

    // For the tests: see the header of the same names for them.
    void reset();
    void set_outage(bool outage);
    std::optional<Message> retained(const std::string& topic);
    std::vector<Message> history(const std::string& topic);
    std::size_t count(const std::string& topic);
    std::optional<Message> will(const std::string& topic);
    void publish(const std::string& topic, const Message& message);
    bool settle(std::chrono::milliseconds timeout);

private:
    void route(const std::string& topic, const Message& message) THREADS_REQUIRES(mutex_);
    void remember(const std::string& topic, const Message& message) THREADS_REQUIRES(mutex_);
    bool is_settled() const THREADS_REQUIRES(mutex_);

    threads::Mutex mutex_;
    std::condition_variable settled_;
    std::vector<Mailbox> mailboxes_ THREADS_GUARDED_BY(mutex_);
    std::map<std::string, Message> retained_ THREADS_GUARDED_BY(mutex_);
    std::deque<Letter> history_ THREADS_GUARDED_BY(mutex_);
    std::map<std::string, std::size_t> counts_ THREADS_GUARDED_BY(mutex_);
    bool outage_ THREADS_GUARDED_BY(mutex_) = false;
};

} // namespace ecu::kova::com
