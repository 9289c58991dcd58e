#pragma once

#include "utils/unique_fd.hpp"

/// Held while celld runs: two on one root would switch the pins under each other and throw each other off the
/// broker. "/run/celld.lock" below CELLD_ROOT, locked with flock(2), so that the kernel lets go of it however
/// the process ends; it holds the process id and stays where it is. Main thread only.
class InstanceLock {
public:
    /// Throws std::runtime_error, which names the holder's process id, when another process holds it. Where
    /// no lock can be made, a WARNING on "celld.main" says why, and nothing is held.
    InstanceLock();

private:
    UniqueFd file_; // closed: unlocked
};
