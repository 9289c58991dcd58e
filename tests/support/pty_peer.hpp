#pragma once

#include "at/unique_fd.hpp"

#include <atomic>
#include <condition_variable>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

/// The module's end of a pseudo-terminal: answers what the test has told it to, says what the test has it
/// say, and can hang up. A command without an answer meets silence, save "AT" and what a port gets in step
/// by.
class PtyPeer {
public:
    /// The device that a port opens is offered as a symbolic link at `device`.
    explicit PtyPeer(const std::filesystem::path& device);
    PtyPeer(const PtyPeer&) = delete;
    PtyPeer& operator=(const PtyPeer&) = delete;
    ~PtyPeer();

    /// From now on `line` ("AT+CSQ") is answered with these bytes; empty is silence.
    void answers(const std::string& line, const std::string& bytes);
    /// From now on `heard` gets every line, and nothing is answered but by it. Called on the peer's thread.
    void listen(std::function<void(const std::string& line)> heard);
    void send(const std::string& bytes);
    /// Blocks until that line has come `times` in all; false after five seconds.
    bool await_line(const std::string& line, std::size_t times = 1);
    std::size_t count(const std::string& line);
    void hang_up();
    /// The device itself, for its line settings.
    int device_fd() const { return slave_.get(); }

private:
    void play();
    void received(const std::string& line);

    UniqueFd master_;
    UniqueFd slave_; // held open, or the master reads errors while no port is open
    std::atomic<bool> playing_{true};
    std::thread thread_;

    std::mutex mutex_; // guards the rest
    std::condition_variable changed_;
    std::map<std::string, std::string> answers_{
        {"AT", "\r\nOK\r\n"},
        {"AT+CMEE?", "\r\n+CMEE: 2\r\n\r\nOK\r\n"},
        {"AT+CFUN?", "\r\n+CFUN: 1\r\n\r\nOK\r\n"},
    };
    std::vector<std::string> lines_;
    std::function<void(const std::string&)> heard_;
};
