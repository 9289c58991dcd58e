#include "deferred.hpp"

#include <algorithm>

namespace ecu::kova::logging {

void DeferredRecords::keep(const Module& module, Level level, const char* text) noexcept
{
    for (auto& slot : slots_) {
        Place expected = Place::FREE;
        if (!slot.place.compare_exchange_strong(expected, Place::FILLING, std::memory_order_acquire)) {
            continue;
        }
        slot.record.order = next_order_.fetch_add(1);
        clock_gettime(CLOCK_REALTIME, &slot.record.time);
        slot.record.module = &module;
        slot.record.level = level;
        slot.record.text = text;
        slot.place.store(Place::READY, std::memory_order_release);
        any_.store(true, std::memory_order_release);
        return;
    }
    lost_.fetch_add(1);
    any_.store(true, std::memory_order_release);
}

std::vector<DeferredRecords::Record> DeferredRecords::take(std::uint64_t& lost)
{
    std::vector<Record> records;
    // Cleared first: what is kept from here on raises the mark again, even if this round already finds it.
    if (!any_.exchange(false, std::memory_order_acq_rel)) {
        lost = 0;
        return records;
    }
    for (auto& slot : slots_) {
        if (slot.place.load(std::memory_order_acquire) == Place::READY) {
            records.push_back(slot.record);
            slot.place.store(Place::FREE, std::memory_order_release);
        }
    }
    lost = lost_.exchange(0);
    std::sort(records.begin(), records.end(),
              [](const Record& left, const Record& right) { return left.order < right.order; });
    return records;
}

} // namespace ecu::kova::logging
