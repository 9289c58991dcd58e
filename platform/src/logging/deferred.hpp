#pragma once

#include <ecu/kova/logging.hpp>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <vector>

namespace ecu::kova::logging {

/// Records that signal handlers left behind, until a thread writes them.
class DeferredRecords {
public:
    struct Record {
        std::uint64_t order = 0; ///< of the calls to `keep`
        timespec time{};         ///< CLOCK_REALTIME
        const Module* module = nullptr;
        Level level = Level::NOTICE;
        const char* text = nullptr;
    };

    /// Async-signal-safe: lock-free atomics and clock_gettime(2) only. Counts the record as lost when every
    /// place is taken.
    void keep(const Module& module, Level level, const char* text) noexcept;

    /// The records kept, oldest first, and in `lost` how many more there were. Any thread, one at a time.
    std::vector<Record> take(std::uint64_t& lost);

    /// Cheap: whether `take` would find something.
    bool any() const noexcept { return any_.load(std::memory_order_acquire); }

private:
    enum class Place : int { FREE, FILLING, READY };
    struct Slot {
        std::atomic<Place> place{Place::FREE};
        Record record;
    };
    static_assert(std::atomic<Place>::is_always_lock_free && std::atomic<std::uint64_t>::is_always_lock_free);

    static constexpr std::size_t PLACES = 32; // a handler writes one or two; a burst of signals fits

    std::array<Slot, PLACES> slots_;
    std::atomic<std::uint64_t> next_order_{0};
    std::atomic<std::uint64_t> lost_{0};
    std::atomic<bool> any_{false};
};

} // namespace ecu::kova::logging
