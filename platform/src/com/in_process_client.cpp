#include "in_process_client.hpp"

#include "thread_without_signals.hpp"

#include <utility>

namespace ecu::kova::com {

InProcessClient::InProcessClient() : mailbox_(std::make_shared<InProcessMailbox>())
{
    broker_.add(mailbox_);
    thread_ = thread_without_signals(
        [mailbox = mailbox_] { InProcessBroker::instance().deliver_until_removed(*mailbox); });
}

InProcessClient::~InProcessClient()
{
    broker_.remove(mailbox_);
    if (thread_.get_id() == std::this_thread::get_id()) {
        thread_.detach(); // an observer held the last reference; the thread owns the mailbox
    } else {
        thread_.join();
    }
}

bool InProcessClient::publish(const std::string& topic, const Message& message)
{
    return is_topic(topic) && broker_.publish(*mailbox_, topic, message);
}

bool InProcessClient::subscribe(const std::string& topic, std::weak_ptr<ISubscriptionObserver> observer)
{
    if (!is_filter(topic)) {
        return false;
    }
    broker_.subscribe(*mailbox_, topic, std::move(observer));
    return true;
}

bool InProcessClient::flush(std::chrono::milliseconds timeout)
{
    return broker_.wait_until_sent(*mailbox_, timeout);
}

bool InProcessClient::is_connected() const
{
    return !broker_.is_away();
}

bool InProcessClient::last_will(const std::string& topic, const Message& message)
{
    if (!is_will(topic, message)) {
        return false;
    }
    broker_.last_will(*mailbox_, topic, message);
    return true;
}

} // namespace ecu::kova::com
