#pragma once

#include "options.hpp"
#include "session.hpp"

#include <functional>
#include <span>

namespace celldctl {

/// What a verb does once the command line is understood. Main thread; returns an ExitStatus or throws
/// Failure.
using Run = std::function<int(Session&)>;

/// What a verb works on.
enum class Scope {
    UNIT,  ///< the bus of this unit, or with --unit of another
    FILES, ///< files of this host
    FLEET  ///< the central broker
};

/// A new verb is a row in verbs.cpp and a function that declares its options and says what then runs:
/// the values belong to what is returned.
struct Verb {
    const char* name;
    const char* purpose; ///< one sentence for `--help`
    Run (*declare)(Options& options);
    Scope scope = Scope::UNIT;
};

std::span<const Verb> verbs();

Run status(Options& options);
Run wait_for(Options& options);
Run watch(Options& options);
Run monitor(Options& options);
Run doctor(Options& options);
Run backend(Options& options);
Run blackout(Options& options);
Run fleet(Options& options);
Run exporter(Options& options);
Run history(Options& options);
Run at(Options& options);
Run report(Options& options);

} // namespace celldctl
