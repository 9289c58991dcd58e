#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

/// A datagram socket of the file system, which is read when the test says so.
class Datagrams {
public:
    explicit Datagrams(std::string path) : path_(std::move(path)) { open(); }
    Datagrams(const Datagrams&) = delete;
    Datagrams& operator=(const Datagrams&) = delete;
    ~Datagrams() { close(); }

    void open()
    {
        socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path_.copy(address.sun_path, sizeof address.sun_path - 1);
        if (path_.front() == '@') { // an abstract name (unix(7))
            address.sun_path[0] = '\0';
        }
        const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path_.size());
        EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr*>(&address), length), 0);
    }
    void close()
    {
        ::close(socket_);
        std::filesystem::remove(path_);
    }

    std::vector<std::string> received() const
    {
        std::vector<std::string> all;
        std::array<char, 4096> text{};
        for (ssize_t got = 0; (got = recv(socket_, text.data(), text.size(), 0)) >= 0;) {
            all.emplace_back(text.data(), static_cast<std::size_t>(got));
        }
        return all;
    }

private:
    std::string path_;
    int socket_ = -1;
};
