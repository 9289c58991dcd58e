#include "../../src/logging/writer.hpp"

#include <ecu/kova/log_tap.hpp>

namespace ecu::kova::logging {

void set_tap(Tap tap, void* context)
{
    writer().divert(tap, context);
}

} // namespace ecu::kova::logging
