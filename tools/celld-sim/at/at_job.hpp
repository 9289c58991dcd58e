#pragma once

#include "at/at_record.hpp"
#include "at/at_request.hpp"
#include "at/script.hpp"

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace bench {

/// One command line in work: its commands and what the script does to them.
struct AtJob {
    struct Step {
        AtRequest request;                   ///< empty text: the bare "AT"
        std::optional<Script::Entry> answer; ///< instead of the module's own
    };

    AtRecord::Command command;
    std::vector<Step> steps;
    std::chrono::milliseconds lateness{0};
    std::chrono::milliseconds cut{0}; ///< pause between the answer's bytes; 0: the answer comes whole
    bool lost = false;                ///< the final result is
    std::optional<Crash> crash;
    std::vector<std::string> reports; ///< come in front of the final result
};

/// What a job has come to.
struct AtOutcome {
    std::vector<std::string> lines; ///< in front of the final result
    std::string result = "OK";
    bool silent = false;
    std::vector<std::function<void()>> afterwards;
};

/// Counts the line's commands in the script.
AtJob plan_job(const AtRecord::Command& command, Script& script);

/// Applies an answer of the script, errors as +CMEE has them.
/// @return whether the line goes on with its next command
bool apply_scripted(const Script::Entry& entry, int cmee, AtOutcome& outcome);

} // namespace bench
