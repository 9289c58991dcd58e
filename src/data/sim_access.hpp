#pragma once

#include "data/defs.hpp"

#include <string>
#include <utility>

/// What the configuration says of one SIM, as it was read.
struct SimConfiguration {
    defs::SimState state = defs::SimState::AUTO;
    std::string apn;
    std::string user;
    std::string password;
    std::string pin; ///< external only
};

/// Access data and PIN of one SIM. Anybody may hand them in; only who says them to the module gets them out,
/// so that no dump of the record and no message made of it can show them.
class SimAccess {
public:
    SimAccess() = default;
    explicit SimAccess(SimConfiguration configuration) : held_(std::move(configuration)) {}

    defs::SimState state() const { return held_.state; }

private:
    friend class SimHandler;  // +CPIN
    friend class DataContext; // the definition of the context

    SimConfiguration held_;
};
