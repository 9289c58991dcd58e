#include "modem/urc_queue.hpp"

#include <ecu/kova/logging.hpp>

#include <utility>

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.modem.urc");

} // namespace

void UrcQueue::push(const AtCommandResponse& response)
{
    bool first_loss = false;
    {
        const threads::MutexLock lock(mutex_);
        queue_.push_back(response);
        bytes_ += response.message.size();
        while (queue_.size() > MAX_QUEUED || bytes_ > MAX_BYTES) {
            bytes_ -= queue_.front().message.size();
            queue_.pop_front();
            first_loss = !overflown_;
            overflown_ = true;
        }
    }
    if (first_loss) {
        LOG.warning("Too many URCs are waiting, the oldest are dropped");
    }
}

std::deque<AtCommandResponse> UrcQueue::take_all()
{
    const threads::MutexLock lock(mutex_);
    bytes_ = 0;
    overflown_ = false;
    return std::exchange(queue_, {});
}
