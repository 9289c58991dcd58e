#pragma once

#include "session.hpp"

namespace celldctl {

/// The verbs. Each takes its own words off `arguments` (throwing UsageError before anything is sent) and
/// returns an ExitStatus. Main thread.

/// Prints what celld and the backend say on the bus, decoded, until a signal, a time-out or a wanted state.
int monitor(Session& session, Arguments& arguments);
/// Shows once what the modem is, from what the bus retains.
int status(Session& session, Arguments& arguments);
/// Ends when the modem's state is the wanted one, or the time is over.
int wait_for(Session& session, Arguments& arguments);
/// Stands in for the backend service: publishes its status, once or again and again.
int backend(Session& session, Arguments& arguments);
/// Publishes the blackout (radio silence) signal.
int blackout(Session& session, Arguments& arguments);

} // namespace celldctl
