#pragma once

#include "doctor/findings.hpp"

#include <string>
#include <sys/types.h>
#include <vector>

namespace celldctl {

/// One of the unit's three files, as it is.
struct UnitFile {
    struct Line {
        std::size_t number; ///< from 1
        std::string key;
        std::string value;
    };
    struct Fault {
        std::size_t number;
        std::string text; ///< "no '=' in it"
    };

    std::string path;    ///< as it was opened
    bool exists = false; ///< something is there under this name
    std::string trouble; ///< why it cannot be read; empty when it can, or when there is none
    mode_t mode = 0;     ///< its rights
    std::vector<Line> lines;
    std::vector<Fault> faults;

    bool is_readable() const { return exists && trouble.empty(); }
    /// The value that counts: that of the last line.
    const std::string* find(const std::string& key) const;
};

/// Below CELLD_ROOT. The lines are read by the platform library, one by one, so that each fault is found.
UnitFile read_unit_file(const std::string& absolute_path);

/// The same of a text.
void read_lines(UnitFile& file, const std::string& text);

/// Whether it is there and can be read, its rights (`secret`: it may hold a password), keys that are set
/// twice. Not its faults, which are errors in one file and warnings in the others.
void check_file(const UnitFile& file, bool secret, Findings& findings);

} // namespace celldctl
