#include "in_process_broker.hpp"

#include <algorithm>

namespace ecu::kova::com {

namespace {

constexpr std::size_t MOST_REMEMBERED = 1000;   // messages in the history
constexpr std::size_t MOST_UNDELIVERED = 10000; // of one client; the oldest gives way

threads::MutexLock::time_point after(std::chrono::milliseconds timeout)
{
    return std::chrono::steady_clock::now() + timeout;
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

InProcessBroker& InProcessBroker::instance()
{
    static auto* const broker = new InProcessBroker; // never destroyed: clients may live to the very end
    return *broker;
}

void InProcessBroker::add(Mailbox mailbox)
{
    const threads::MutexLock lock(mutex_);
    mailboxes_.push_back(std::move(mailbox));
}

void InProcessBroker::remove(const Mailbox& mailbox)
{
    const threads::MutexLock lock(mutex_);
    mailbox->stopping = true;
    mailbox->changed.notify_all();
    mailboxes_.erase(std::remove(mailboxes_.begin(), mailboxes_.end(), mailbox), mailboxes_.end());
    settled_.notify_all();
}

void InProcessBroker::deliver_until_removed(InProcessMailbox& mailbox)
{
    threads::MutexLock lock(mutex_);
    while (true) {
        while (!mailbox.stopping && mailbox.inbox.empty()) {
            lock.wait(mailbox.changed);
        }
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
        settled_.notify_all();
    }
}

bool InProcessBroker::publish(InProcessMailbox& from, const std::string& topic, const Message& message)
{
    const threads::MutexLock lock(mutex_);
    if (!outage_) {
        route(topic, message);
        return true;
    }
    if (!message.retained()) {
        return false;
    }
    std::erase_if(from.kept, [&](const Letter& letter) { return letter.first == topic; });
    from.kept.emplace_back(topic, message);
    return true;
}

void InProcessBroker::subscribe(InProcessMailbox& mailbox, const std::string& filter,
                                std::weak_ptr<ISubscriptionObserver> observer)
{
    const threads::MutexLock lock(mutex_);
    mailbox.subscriptions.add(filter, std::move(observer));
    for (const auto& [topic, message] : retained_) {
        if (topic_matches(filter, topic)) {
            mailbox.take_in(topic, message);
        }
    }
}

void InProcessBroker::last_will(InProcessMailbox& mailbox, const std::string& topic, const Message& message)
{
    const threads::MutexLock lock(mutex_);
    mailbox.will.emplace(topic, message);
}

bool InProcessBroker::wait_until_sent(const InProcessMailbox& mailbox, std::chrono::milliseconds timeout)
{
    const auto deadline = after(timeout);
    threads::MutexLock lock(mutex_);
    while (!mailbox.kept.empty()) {
        if (!lock.wait_until(settled_, deadline)) {
            return mailbox.kept.empty();
        }
    }
    return true;
}

bool InProcessBroker::is_away()
{
    const threads::MutexLock lock(mutex_);
    return outage_;
}

void InProcessBroker::reset()
{
    const threads::MutexLock lock(mutex_);
    retained_.clear();
    history_.clear();
    counts_.clear();
    outage_ = false;
    for (const auto& mailbox : mailboxes_) {
        mailbox->inbox.clear();
        mailbox->kept.clear();
    }
    settled_.notify_all();
}

void InProcessBroker::set_outage(bool outage)
{
    const threads::MutexLock lock(mutex_);
    outage_ = outage;
    if (outage) {
        return;
    }
    for (const auto& mailbox : mailboxes_) {
        for (const auto& [topic, message] : mailbox->kept) {
            route(topic, message);
        }
        mailbox->kept.clear();
    }
    settled_.notify_all();
}

std::optional<Message> InProcessBroker::retained(const std::string& topic)
{
    const threads::MutexLock lock(mutex_);
    const auto found = retained_.find(topic);
    return found == retained_.end() ? std::nullopt : std::optional<Message>(found->second);
}

std::vector<Message> InProcessBroker::history(const std::string& topic)
{
    const threads::MutexLock lock(mutex_);
    std::vector<Message> messages;
    for (const auto& [known, message] : history_) {
        if (known == topic) {
            messages.push_back(message);
        }
    }
    return messages;
}

std::size_t InProcessBroker::count(const std::string& topic)
{
    const threads::MutexLock lock(mutex_);
    const auto found = counts_.find(topic);
    return found == counts_.end() ? 0 : found->second;
}

std::optional<Message> InProcessBroker::will(const std::string& topic)
{
    const threads::MutexLock lock(mutex_);
    for (const auto& mailbox : mailboxes_) {
        if (mailbox->will && mailbox->will->first == topic) {
            return mailbox->will->second;
        }
    }
    return std::nullopt;
}

void InProcessBroker::publish(const std::string& topic, const Message& message)
{
    const threads::MutexLock lock(mutex_);
    route(topic, message);
}

bool InProcessBroker::settle(std::chrono::milliseconds timeout)
{
    const auto deadline = after(timeout);
    threads::MutexLock lock(mutex_);
    while (!is_settled()) {
        if (!lock.wait_until(settled_, deadline)) {
            return is_settled();
        }
    }
    return true;
}

void InProcessBroker::route(const std::string& topic, const Message& message)
{
    remember(topic, message);
    const Message live(message.payload()); // not marked retained: it goes to those who were there already
    for (const auto& mailbox : mailboxes_) {
        if (mailbox->subscriptions.matches(topic)) {
            mailbox->take_in(topic, live);
        }
    }
}

void InProcessBroker::remember(const std::string& topic, const Message& message)
{
    if (message.retained()) {
        retained_.insert_or_assign(topic, message);
        if (message.payload().empty()) { // MQTT 3.1.1, 3.3.1.3: an empty message clears the topic
            retained_.erase(topic);
        }
    }
    ++counts_[topic];
    history_.emplace_back(topic, message);
    if (history_.size() > MOST_REMEMBERED) {
        history_.pop_front();
    }
}

bool InProcessBroker::is_settled() const
{
    return std::all_of(mailboxes_.begin(), mailboxes_.end(),
                       [](const auto& mailbox) { return mailbox->idle(); });
}

} // namespace ecu::kova::com
