#pragma once

/// SIGHUP is no interruption here: it waits until the main thread asks for it, so that no call of any thread
/// ends early for it.
namespace hangup {

/// Before any other thread is made: it is held back in all of them.
void hold();

/// Whether it has come since the last call; several count as one. Main thread.
bool has_come();

} // namespace hangup
