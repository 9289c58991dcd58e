#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace celldctl {

enum class Level { OK, WARNING, ERROR };

/// One thing that was looked at.
struct Finding {
    Level level = Level::OK;
    std::string area; ///< "celld.conf", "device", ...
    std::string text;
    std::string next; ///< what to do about it; empty where nothing is to be done
};

/// What the doctor has found, in the order in which it looked. A value.
class Findings {
public:
    /// The area of those that follow.
    void area(std::string name) { area_ = std::move(name); }
    void ok(std::string text);
    void warning(std::string text, std::string next);
    void error(std::string text, std::string next);

    const std::vector<Finding>& all() const { return all_; }
    std::size_t count(Level level) const;

private:
    void add(Level level, std::string text, std::string next);

    std::string area_;
    std::vector<Finding> all_;
};

/// A line each, with the next step below it, and the sum. No control character but line feeds comes through.
std::string findings_text(const Findings& findings);
/// One object, ASCII, with a line feed (docs/celldctl-doctor.md).
std::string findings_json(const Findings& findings);

} // namespace celldctl
