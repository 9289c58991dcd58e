#include "in_process_client.hpp"

#include "thread_without_signals.hpp"

#include <ecu/kova/com/in_process_bus.hpp>

#include <algorithm>
#include <cstddef>
#include <map>
#include <mutex>

namespace ecu::kova::com {

namespace {

constexpr std::size_t MOST_REMEMBERED = 1000;   // messages in the history
constexpr std::size_t MOST_UNDELIVERED = 10000; // of one client; the oldest gives way

struct Bus {
    std::mutex mutex;
    std::condition_variable settled;
    std::vector<std::shared_ptr<InProcessMailbox>> mailboxes; // everything here: guarded by mutex
    std::map<std::string, Message> retained;
    std::deque<InProcessMailbox::Letter> history;
    std::map<std::string, std::size_t> counts;
    bool outage = false;

    bool is_settled() const
    {
        return std::all_of(mailboxes.begin(), mailboxes.end(),
                           [](const auto& mailbox) { return mailbox->idle(); });
    }

    void route(const std::string& topic, const Message& message)
    {
        if (message.retained()) {
            retained.insert_or_assign(topic, message);
            if (message.payload().empty()) { // MQTT 3.1.1, 3.3.1.3: an empty message clears the topic
                retained.erase(topic);
            }
        }
        ++counts[topic];
        history.emplace_back(topic, message);
        if (history.size() > MOST_REMEMBERED) {
            history.pop_front();
        }
        Message live(message.payload()); // not marked retained: it goes to those who were there already
        for (const auto& mailbox : mailboxes) {
            if (mailbox->subscriptions.matches(topic)) {
                mailbox->take_in(topic, live);
            }
        }
    }
};

Bus& bus()
{
    static auto* const instance = new Bus; // never destroyed: clients may live to the very end
    return *instance;
}

void deliver_until_stopped(InProcessMailbox& mailbox)
{
    std::unique_lock lock(bus().mutex);
    while (true) {
        mailbox.changed.wait(lock, [&] { return mailbox.stopping || !mailbox.inbox.empty(); });
        if (mailbox.stopping) {
            return;
        }
        const auto [topic, message] = std::move(mailbox.inbox.front());
        mailbox.inbox.pop_front();
        mailbox.delivering = true;
        lock.unlock();
        mailbox.subscriptions.deliver(topic, message);
        lock.lock();
        mailbox.delivering = false;
        bus().settled.notify_all();
    }
}

} // namespace

void InProcessMailbox::take_in(const std::string& topic, const Message& message)
{
    if (inbox.size() >= MOST_UNDELIVERED) {
        inbox.pop_front();
    }
    inbox.emplace_back(topic, message);
    changed.notify_all();
}

InProcessClient::InProcessClient() : mailbox_(std::make_shared<InProcessMailbox>())
{
    {
        const std::lock_guard lock(bus().mutex);
        bus().mailboxes.push_back(mailbox_);
    }
    thread_ = thread_without_signals([mailbox = mailbox_] { deliver_until_stopped(*mailbox); });
}

InProcessClient::~InProcessClient()
{
    {
        const std::lock_guard lock(bus().mutex);
        mailbox_->stopping = true;
        mailbox_->changed.notify_all();
        auto& all = bus().mailboxes;
        all.erase(std::remove(all.begin(), all.end(), mailbox_), all.end());
        bus().settled.notify_all();
    }
    if (thread_.get_id() == std::this_thread::get_id()) {
        thread_.detach(); // an observer held the last reference; the thread owns the mailbox
    } else {
        thread_.join();
    }
}

bool InProcessClient::publish(const std::string& topic, const Message& message)
{
    if (!is_topic(topic)) {
        return false;
    }
    const std::lock_guard lock(bus().mutex);
    if (!bus().outage) {
        bus().route(topic, message);
        return true;
    }
    if (!message.retained()) {
        return false;
    }
    auto& kept = mailbox_->kept;
    kept.erase(std::remove_if(kept.begin(), kept.end(),
                              [&](const InProcessMailbox::Letter& letter) { return letter.first == topic; }),
               kept.end());
    kept.emplace_back(topic, message);
    return true;
}

bool InProcessClient::subscribe(const std::string& topic, std::weak_ptr<ISubscriptionObserver> observer)
{
    if (!is_filter(topic)) {
        return false;
    }
    const std::lock_guard lock(bus().mutex);
    mailbox_->subscriptions.add(topic, std::move(observer));
    for (const auto& [known, message] : bus().retained) {
        if (topic_matches(topic, known)) {
            mailbox_->take_in(known, message);
        }
    }
    return true;
}

bool InProcessClient::flush(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(bus().mutex);
    return bus().settled.wait_for(lock, timeout, [this] { return mailbox_->kept.empty(); });
}

bool InProcessClient::is_connected() const
{
    const std::lock_guard lock(bus().mutex);
    return !bus().outage;
}

namespace in_process {

void reset()
{
    const std::lock_guard lock(bus().mutex);
    bus().retained.clear();
    bus().history.clear();
    bus().counts.clear();
    bus().outage = false;
    for (const auto& mailbox : bus().mailboxes) {
        mailbox->inbox.clear();
        mailbox->kept.clear();
    }
    bus().settled.notify_all();
}

void set_outage(bool outage)
{
    const std::lock_guard lock(bus().mutex);
    bus().outage = outage;
    if (outage) {
        return;
    }
    for (const auto& mailbox : bus().mailboxes) {
        for (const auto& [topic, message] : mailbox->kept) {
            bus().route(topic, message);
        }
        mailbox->kept.clear();
    }
    bus().settled.notify_all();
}

std::optional<Message> retained(const std::string& topic)
{
    const std::lock_guard lock(bus().mutex);
    const auto found = bus().retained.find(topic);
    return found == bus().retained.end() ? std::nullopt : std::optional<Message>(found->second);
}

std::vector<Message> history(const std::string& topic)
{
    const std::lock_guard lock(bus().mutex);
    std::vector<Message> messages;
    for (const auto& [known, message] : bus().history) {
        if (known == topic) {
            messages.push_back(message);
        }
    }
    return messages;
}

std::optional<Message> last(const std::string& topic)
{
    const auto messages = history(topic);
    return messages.empty() ? std::nullopt : std::optional<Message>(messages.back());
}

std::size_t count(const std::string& topic)
{
    const std::lock_guard lock(bus().mutex);
    const auto found = bus().counts.find(topic);
    return found == bus().counts.end() ? 0 : found->second;
}

void publish(const std::string& topic, const Message& message)
{
    const std::lock_guard lock(bus().mutex);
    bus().route(topic, message);
}

bool settle(std::chrono::milliseconds timeout)
{
    std::unique_lock lock(bus().mutex);
    return bus().settled.wait_for(lock, timeout, [] { return bus().is_settled(); });
}

} // namespace in_process

} // namespace ecu::kova::com
