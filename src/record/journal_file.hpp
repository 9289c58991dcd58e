#pragma once

#include "record/journal_record.hpp"
#include "record/line_file.hpp"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

/// Where the journal is, and what is in it.
namespace journal {

constexpr const char* PATH = "/var/lib/celld/journal"; ///< and "journal.1"; below CELLD_ROOT
constexpr std::size_t LIMIT = 128UL * 1024;            ///< bytes of each of the two

struct Contents {
    std::vector<JournalRecord> records; ///< oldest first
    std::size_t damaged = 0;            ///< lines that a power cut has torn, or somebody has changed
    std::optional<std::string> wrong;   ///< why the file cannot be read; a missing one is empty
};

/// Both files, the older one first; at most `LIMIT` bytes from the end of each.
Contents read();
/// The same of one file, wherever it is; a missing one is wrong.
Contents read_file(const std::string& path);

/// The file as the daemon writes it.
LineFile::Settings file();

} // namespace journal
