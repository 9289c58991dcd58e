#pragma once

#include <string>

namespace ecu::kova {

/// Puts the directory of the environment variable CELLD_ROOT in front of an absolute path; without the
/// variable, or for a relative or empty path, the path comes back unchanged. Every file the platform library
/// or the daemon opens goes through here, which is what lets a bench run without hardware and several daemons
/// share a host. Any thread; reads the environment at each call.
std::string rooted(const std::string& path);

} // namespace ecu::kova
