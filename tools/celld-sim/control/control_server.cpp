#include "control/control_server.hpp"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace bench {
namespace {

constexpr std::size_t READ_SIZE = 4096;
constexpr std::size_t MAX_OUTPUT = 1024UL * 1024UL; ///< a client that asks without reading is cut off here
constexpr int BACKLOG = 8;

FileDescriptor open_directory(const std::filesystem::path& directory)
{
    FileDescriptor fd(::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!fd) {
        throw_errno("unable to open " + directory.string());
    }
    return fd;
}

/// The socket's address by way of its open directory, which always fits.
sockaddr_un address_in(const FileDescriptor& directory, const std::string& name)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const auto path = "/proc/self/fd/" + std::to_string(directory.get()) + "/" + name;
    std::memcpy(address.sun_path, path.c_str(), std::min(path.size() + 1, sizeof address.sun_path));
    return address;
}

const sockaddr* generic(const sockaddr_un& address)
{
    return reinterpret_cast<const sockaddr*>(&address); // what the socket calls take by their contract
}

FileDescriptor connect_to(const std::filesystem::path& path)
{
    const auto directory = open_directory(path.parent_path());
    const auto address = address_in(directory, path.filename());
    FileDescriptor fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!fd || ::connect(fd.get(), generic(address), sizeof address) != 0) {
        return {};
    }
    return fd;
}

FileDescriptor listen_on(const std::filesystem::path& path)
{
    const auto directory = open_directory(path.parent_path());
    const auto address = address_in(directory, path.filename());
    FileDescriptor fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (!fd || ::bind(fd.get(), generic(address), sizeof address) != 0 || ::listen(fd.get(), BACKLOG) != 0) {
        throw_errno("unable to listen on " + path.string());
    }
    return fd;
}

} // namespace

std::filesystem::path control_socket_path(const std::filesystem::path& root)
{
    return root / "run/celld-sim.sock";
}

ControlServer::ControlServer(EventLoop& loop, const std::filesystem::path& root, Handler handler)
    : loop_(loop), handler_(std::move(handler)), path_(control_socket_path(root))
{
    std::filesystem::create_directories(path_.parent_path());
    if (connect_to(path_)) {
        throw BenchError("another bench is running in " + root.string());
    }
    std::error_code absent;
    std::filesystem::remove(path_, absent); // a killed run may have left one
    listener_ = listen_on(path_);
    loop_.watch(listener_.get(), POLLIN, [this](short) { accept_client(); });
}

ControlServer::~ControlServer()
{
    for (const auto& [fd, client] : clients_) {
        loop_.unwatch(fd);
    }
    loop_.unwatch(listener_.get());
    std::error_code gone;
    std::filesystem::remove(path_, gone);
}

void ControlServer::accept_client()
{
    FileDescriptor fd(::accept4(listener_.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    if (!fd || clients_.size() >= MAX_CLIENTS) {
        return;
    }
    const int number = fd.get();
    clients_.emplace(number, Client{.fd = std::move(fd), .input = {}, .output = {}});
    loop_.watch(number, POLLIN, [this, number](short events) { serve(number, events); });
}

void ControlServer::serve(int fd, short events)
{
    auto& client = clients_.at(fd);
    const bool readable = (events & (POLLIN | POLLHUP | POLLERR)) != 0 && !client.ending;
    bool alive = !readable || read_from(client);
    if (alive) {
        answer_lines(client);
        alive = write_to(client) && (!client.ending || !client.output.empty());
    }
    if (!alive) {
        drop(fd);
        return;
    }
    const int wanted = (client.ending ? 0 : POLLIN) | (client.output.empty() ? 0 : POLLOUT);
    loop_.watch(fd, static_cast<short>(wanted), [this, fd](short came) { serve(fd, came); });
}

bool ControlServer::read_from(Client& client)
{
    std::array<char, READ_SIZE> buffer;
    const auto count = ::read(client.fd.get(), buffer.data(), buffer.size());
    if (count < 0) {
        return errno == EAGAIN || errno == EINTR;
    }
    client.ending = count == 0;
    client.input.append(buffer.data(), static_cast<std::size_t>(count));
    if (client.ending && !client.input.empty() && client.input.back() != '\n') {
        client.input += '\n'; // the last line may do without
    }
    return true;
}

void ControlServer::answer_lines(Client& client)
{
    for (auto end = client.input.find('\n'); end != std::string::npos; end = client.input.find('\n')) {
        auto line = client.input.substr(0, end);
        client.input.erase(0, end + 1);
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        client.output.append(handler_(line)).append("\n");
    }
    if (client.input.size() > MAX_LINE || client.output.size() > MAX_OUTPUT) {
        client.input.clear();
        client.output = "error line too long or answers not read\n";
        client.ending = true;
    }
}

bool ControlServer::write_to(Client& client)
{
    while (!client.output.empty()) {
        const auto count = ::write(client.fd.get(), client.output.data(), client.output.size());
        if (count < 0) {
            return errno == EAGAIN || errno == EINTR;
        }
        client.output.erase(0, static_cast<std::size_t>(count));
    }
    return true;
}

void ControlServer::drop(int fd)
{
    loop_.unwatch(fd);
    clients_.erase(fd);
}

std::string send_control_command(const std::filesystem::path& root, const std::string& command)
{
    const auto fd = connect_to(control_socket_path(root));
    if (!fd) {
        throw_errno("no bench answers in " + root.string());
    }
    const auto line = command + "\n";
    if (::send(fd.get(), line.data(), line.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(line.size())) {
        throw_errno("unable to send the command");
    }
    ::shutdown(fd.get(), SHUT_WR);
    std::string answer;
    std::array<char, READ_SIZE> buffer;
    for (;;) {
        const auto count = ::read(fd.get(), buffer.data(), buffer.size());
        if (count < 0) {
            throw_errno("unable to read the answer");
        }
        if (count == 0) {
            return answer;
        }
        answer.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

} // namespace bench
