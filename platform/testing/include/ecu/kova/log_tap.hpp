#pragma once

#include <ecu/kova/logging.hpp>

#include <string>

namespace ecu::kova::logging {

/// Receives what would be written, in place of the sink: (context, level, module, text). Called with the
/// writer's lock held: it must not log.
using Tap = void (*)(void* context, Level level, const std::string& module, const std::string& text);

/// nullptr restores the sink. Any thread.
void set_tap(Tap tap, void* context);

} // namespace ecu::kova::logging
