#pragma once

#include "modem/modem_state.hpp"

#include <string>

/// "REGISTERING".
std::string short_name(ModemState state);

/// The states as a graph in Graphviz' language, for `neato -n2`: the road to a connection straight down, what
/// the rows allow besides beside it. It names classes in place of colours; docs/images/pictures.css has
/// those.
std::string states_graph();
