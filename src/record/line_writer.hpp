#pragma once

#include "record/line_file.hpp"

#include <ecu/kova/logging.hpp>

#include <chrono>
#include <memory>
#include <string>

/// Writes lines to a file on a thread of its own, so that no one who has a line waits for a disk: what the
/// thread is behind with is kept, up to a limit, and what is beyond it is dropped, counted, and said in the
/// file ("# 12 lines are missing here"). A file that cannot be written is said once, and so is that it can
/// again. The thread begins with the first line. Any thread may call `write`.
class LineWriter {
public:
    struct Settings {
        LineFile::Settings file;
        std::size_t backlog; ///< lines that are kept while the file is slow
        std::string name;    ///< in the log: "The journal"
        const ecu::kova::logging::Module& log;
    };

    explicit LineWriter(Settings settings);
    LineWriter(const LineWriter&) = delete;
    LineWriter& operator=(const LineWriter&) = delete;
    /// What is kept is written, but a disk that does not answer holds nobody up for more than two seconds.
    ~LineWriter();

    /// Without its line end. Never waits for the file.
    void write(std::string line);
    /// Waits until everything is written or lost; false when that took longer than `patience`.
    bool flush(std::chrono::milliseconds patience);

private:
    struct Shared;
    std::shared_ptr<Shared> shared_; // outlives this while its thread hangs in the file system
};
