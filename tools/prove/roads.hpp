#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>

/// What left a daemon, in one number: commands with their times, the supply, the log from NOTICE up, the bus.
/// Two runs that went the same way have the same.
class Road {
public:
    /// 64-bit FNV-1a.
    void note(std::string_view text)
    {
        for (const char letter : text) {
            digest_ = (digest_ ^ static_cast<unsigned char>(letter)) * 0x100000001b3U;
        }
    }
    std::uint64_t digest() const { return digest_; }

private:
    std::uint64_t digest_ = 0xcbf29ce484222325U;
};

/// The roads of many runs, in a file: a line each, the number in hexadecimal and the name of the run.
class Roads {
public:
    Roads() = default;
    /// @throws std::runtime_error for a file that cannot be read or is none of these
    explicit Roads(const std::string& file);

    void add(const std::string& run, std::uint64_t road) { roads_[run] = road; }
    /// @throws std::runtime_error when it cannot be written
    void write(const std::string& file) const;

    /// True for a run that is not known.
    bool differs(const std::string& run, std::uint64_t road) const;

private:
    std::map<std::string, std::uint64_t> roads_;
};
