#pragma once

#include <unistd.h>
#include <utility>

/// Owns a file descriptor; -1 is none. One thread at a time, or under the owner's lock.
class UniqueFd {
public:
    explicit UniqueFd(int fd = -1) : fd_(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept
    {
        if (this != &other) {
            (void)close(); // a descriptor that is replaced has nobody left to tell
            fd_ = std::exchange(other.fd_, -1);
        }
        return *this;
    }
    ~UniqueFd() { (void)close(); }

    int get() const { return fd_; }
    bool is_open() const { return fd_ != -1; }
    /// What close(2) returned, errno included; 0 when there was nothing to close.
    int close() { return fd_ == -1 ? 0 : ::close(std::exchange(fd_, -1)); }

private:
    int fd_;
};
