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
            first_loss = first_loss || dropped_ == 0;
            ++dropped_;
            ++newly_dropped_;
        }
    }
    if (first_loss) {
        LOG.warning("Too many URCs are waiting, the oldest are dropped");
    }
}

std::deque<AtCommandResponse> UrcQueue::take_all()
{
    std::uint64_t lost = 0;
    std::deque<AtCommandResponse> all;
    {
        const threads::MutexLock lock(mutex_);
        bytes_ = 0;
        if (std::exchange(newly_dropped_, 0) == 0) { // none since the last time: it is over
            lost = std::exchange(dropped_, 0);
        }
        all = std::exchange(queue_, {});
    }
    if (lost != 0) {
        LOG.notice("All URCs are worked off again, dropped were ", lost);
    }
    return all;
}
