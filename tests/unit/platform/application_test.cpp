#include "support/temp_root.hpp"

#include <ecu/kova/application.hpp>
#include <gtest/gtest.h>

#include <array>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace ecu::kova;

/// The service manager's end of sd_notify(3).
class Manager {
public:
    explicit Manager(const std::string& path)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        setenv("NOTIFY_SOCKET", path.c_str(), 1); // NOLINT(concurrency-mt-unsafe): no other thread
    }
    Manager(const Manager&) = delete;
    Manager& operator=(const Manager&) = delete;
    ~Manager()
    {
        unsetenv("NOTIFY_SOCKET"); // NOLINT(concurrency-mt-unsafe): no other thread
        close(socket_);
    }

    std::vector<std::string> told() const
    {
        std::vector<std::string> all;
        std::array<char, 200> text{};
        for (ssize_t got = 0; (got = recv(socket_, text.data(), text.size(), MSG_DONTWAIT)) > 0;) {
            all.emplace_back(text.data(), static_cast<std::size_t>(got));
        }
        return all;
    }

private:
    int socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

TEST(Application, TellsTheServiceManagerOnceThatItIsReady)
{
    const TempRoot root;
    const Manager manager(root.path("/notify").string());
    application_starting();
    application_ready();
    application_ready();
    EXPECT_EQ(manager.told(), (std::vector<std::string>{"STATUS=Starting", "READY=1\nSTATUS=Running"}));
}

} // namespace
