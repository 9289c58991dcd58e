#pragma once

/// What a run of the daemon is for: the words of its command line, or to keep the module connected.
enum class RunAction : int { POWER_ON = 0, POWER_OFF = 1, INIT = 2, CONFIGURE = 3, CONNECT = 4, RUN = 5 };
