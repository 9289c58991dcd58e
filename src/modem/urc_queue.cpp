#include "modem/urc_queue.hpp"

#include <ecu/kova/logging.hpp>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem.urc");

} // namespace

void UrcQueue::push(const AtCommandResponse& response)
{
    bool first_loss = false;
    {
        const std::lock_guard lock(mutex_);
        queue_.push_back(response);
        if (queue_.size() > MAX_QUEUED) {
            queue_.pop_front();
            first_loss = !overflown_;
            overflown_ = true;
        }
    }
    if (first_loss) {
        LOG.warning("More than ", MAX_QUEUED, " URCs waiting, the oldest are dropped");
    }
}

std::optional<AtCommandResponse> UrcQueue::take()
{
    const std::lock_guard lock(mutex_);
    if (queue_.empty()) {
        overflown_ = false;
        return std::nullopt;
    }
    std::optional<AtCommandResponse> front(std::move(queue_.front()));
    queue_.pop_front();
    return front;
}

void UrcQueue::clear()
{
    const std::lock_guard lock(mutex_);
    queue_.clear();
}
