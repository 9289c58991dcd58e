#pragma once

#include "base/event_loop.hpp"
#include "base/files.hpp"

#include <filesystem>
#include <functional>
#include <map>
#include <string>

namespace bench {

/// Where the bench below `root` listens.
std::filesystem::path control_socket_path(const std::filesystem::path& root);

/// A Unix stream socket that takes one command a line and answers each in turn. The path is reached through
/// its directory's descriptor, so it may be longer than sun_path.
class ControlServer {
public:
    using Handler = std::function<std::string(const std::string&)>;

    static constexpr std::size_t MAX_CLIENTS = 16;
    static constexpr std::size_t MAX_LINE = 4096; ///< a client that sends a longer line is cut off

    /// @throws BenchError when the socket cannot be made or another bench answers on it
    ControlServer(EventLoop& loop, const std::filesystem::path& root, Handler handler);
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

private:
    struct Client {
        FileDescriptor fd;
        std::string input;
        std::string output;
        bool ending = false; ///< has sent everything
    };

    void accept_client();
    void serve(int fd, short events);
    bool read_from(Client& client);
    void answer_lines(Client& client);
    static bool write_to(Client& client);
    void drop(int fd);

    EventLoop& loop_;
    Handler handler_;
    std::filesystem::path path_;
    FileDescriptor listener_;
    std::map<int, Client> clients_;
};

/// Sends `command` to the bench below `root` and returns its whole answer. @throws BenchError when nobody
/// answers
std::string send_control_command(const std::filesystem::path& root, const std::string& command);

} // namespace bench
