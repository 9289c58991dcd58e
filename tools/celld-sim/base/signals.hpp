#pragma once

#include "base/files.hpp"

namespace bench {

/// Blocks SIGINT and SIGTERM, ignores SIGPIPE: a control client may go before its answer, a log reader at any
/// time.
/// @return what becomes readable when one of the two comes. @throws BenchError
FileDescriptor open_signals();

} // namespace bench
