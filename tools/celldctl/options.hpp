#pragma once

#include "utils/words.hpp"

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace celldctl {

/// Where a verb says which options it takes. A name is "--json", "-o,--output", or without dashes ("STATE")
/// an argument that must be there. The values are written when the command line is parsed and must live until
/// then; what does not fit its kind never gets there, but is told as wrong usage.
class Options {
public:
    explicit Options(CLI::App& app) : app_(app) {}

    void flag(const std::string& name, bool& value, const std::string& help);
    /// Whole seconds, 1 to 86400.
    void seconds(const std::string& name, std::optional<std::chrono::seconds>& value,
                 const std::string& help);
    /// From 1 to a million.
    void count(const std::string& name, std::size_t& value, const std::string& help);
    void text(const std::string& name, std::string& value, const std::string& help);
    /// One of `known`, in any case; it is given to the verb in lower case.
    void one_of(const std::string& name, std::string& value, utils::Words known, const std::string& help);
    /// A comma-separated list of them.
    void some_of(const std::string& name, std::vector<std::string>& values, utils::Words known,
                 const std::string& help);
    /// May be given again and again, one value each.
    void texts(const std::string& name, std::vector<std::string>& values, const std::string& help);
    /// At least one argument, each a path.
    void paths(const std::string& name, std::vector<std::string>& values, const std::string& help);

private:
    CLI::App& app_;
};

} // namespace celldctl
