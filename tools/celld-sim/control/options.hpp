#pragma once

#include "board/board.hpp"
#include "module/module.hpp"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace bench {

/// The command line of celld-sim.
struct Options {
    enum class Mode { BENCH, SEND, CHECK, HELP, VERSION };

    Mode mode = Mode::BENCH;
    std::filesystem::path root;
    BoardType board = BoardType::QBX;
    ModuleSetup module;
    std::chrono::milliseconds boot_delay{4000};
    bool port_loss_on_reset = true; ///< does a restart by AT command take the port away?
    bool sim_lock = true;           ///< level of the SIM-lock line
    bool log = false;
    std::vector<std::string> commands{}; ///< of --do: control commands in force from the start
    std::filesystem::path scenario{};    ///< empty: nothing happens by itself
    std::filesystem::path replay{};      ///< empty: none is played
    std::filesystem::path transcript{};  ///< empty: none is written
    std::string command;                 ///< of --send; a file of --check
};

/// @throws BenchError naming the argument that does not fit
Options parse_options(int argc, char** argv);

std::string help_text();

} // namespace bench
