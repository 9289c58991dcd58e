#include "fleet/metrics_server.hpp"

#include "exit_status.hpp"
#include "fields.hpp"
#include "fleet/metrics.hpp"

#include <array>
#include <cerrno>
#include <cstring>
#include <exception>
#include <microhttpd.h>
#include <netdb.h>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>

namespace celldctl {

namespace {

constexpr unsigned MOST_CONNECTIONS = 16;
constexpr unsigned CONNECTION_TIMEOUT_S = 10;     // without a byte either way
constexpr std::size_t MOST_REQUEST = 16UL * 1024; // bytes of one connection, headers included
constexpr int BACKLOG = 64;
constexpr auto ROOT = "celldctl exporter: see /metrics\n";

struct Reply {
    unsigned status;
    const char* type;
    std::string text;
};

Reply reply_to(const MetricsServer& server, std::string_view url, std::string_view method)
{
    if (method != MHD_HTTP_METHOD_GET && method != MHD_HTTP_METHOD_HEAD) {
        return {MHD_HTTP_METHOD_NOT_ALLOWED, "text/plain", "GET and HEAD only\n"};
    }
    if (url == "/metrics") {
        return {MHD_HTTP_OK, METRICS_TYPE, server.page()()};
    }
    if (url == "/") {
        return {MHD_HTTP_OK, "text/plain", ROOT};
    }
    return {MHD_HTTP_NOT_FOUND, "text/plain", ROOT};
}

MHD_Result send(MHD_Connection* connection, Reply reply)
{
    auto* const response =
        MHD_create_response_from_buffer(reply.text.size(), reply.text.data(), MHD_RESPMEM_MUST_COPY);
    if (response == nullptr) {
        return MHD_NO;
    }
    static_cast<void>(MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, reply.type));
    if (reply.status == MHD_HTTP_METHOD_NOT_ALLOWED) {
        static_cast<void>(MHD_add_response_header(response, MHD_HTTP_HEADER_ALLOW, "GET, HEAD"));
    }
    const auto result = MHD_queue_response(connection, reply.status, response);
    MHD_destroy_response(response);
    return result;
}

/// Called by the library, which is C: nothing is thrown.
MHD_Result answer(void* server, MHD_Connection* connection, const char* url, const char* method,
                  const char* /*version*/, const char* /*body*/, std::size_t* /*body_size*/, void** /*state*/)
{
    try {
        return send(connection, reply_to(*static_cast<const MetricsServer*>(server), url, method));
    } catch (const std::exception&) {
        return MHD_NO; // which closes the connection
    }
}

/// What a client does wrong is its own affair.
void be_quiet(void*, const char*, va_list) {}

struct Descriptor {
    int number;
    explicit Descriptor(int opened) : number(opened) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() { static_cast<void>(number < 0 || close(number)); }
    int release() { return std::exchange(number, -1); }
};

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

Addresses addresses_of(const std::string& address)
{
    const auto colon = address.rfind(':');
    auto host = address.substr(0, colon);
    const auto port = colon == std::string::npos ? std::string() : address.substr(colon + 1);
    const bool is_bracketed = host.size() > 2 && host.front() == '[' && host.back() == ']';
    host = is_bracketed ? host.substr(1, host.size() - 2) : host;
    addrinfo hints{};
    hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV | AI_PASSIVE;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const bool is_well_formed = !host.empty() && !port.empty() && port.size() <= 5 &&
                                (is_bracketed || host.find(':') == std::string::npos) &&
                                std::stoi("0" + port) <= 65535;
    if (!is_well_formed || getaddrinfo(host.c_str(), port.c_str(), &hints, &found) != 0) {
        throw UsageError("--listen '" + printable(address) +
                         "' is no ADDRESS:PORT, such as 127.0.0.1:9818 or [::]:9818");
    }
    return {found, &freeaddrinfo};
}

std::string url_of(int socket)
{
    sockaddr_storage bound{};
    socklen_t length = sizeof bound;
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> port{};
    static_cast<void>(getsockname(socket, reinterpret_cast<sockaddr*>(&bound), &length));
    static_cast<void>(getnameinfo(reinterpret_cast<const sockaddr*>(&bound), length, host.data(), host.size(),
                                  port.data(), port.size(), NI_NUMERICHOST | NI_NUMERICSERV));
    const bool is_v6 = bound.ss_family == AF_INET6;
    return std::string("http://") + (is_v6 ? "[" : "") + host.data() + (is_v6 ? "]:" : ":") + port.data() +
           "/metrics";
}

int listen_at(const std::string& address)
{
    const auto found = addresses_of(address);
    Descriptor listener(socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int yes = 1;
    if (listener.number < 0 || setsockopt(listener.number, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes) != 0 ||
        bind(listener.number, found->ai_addr, found->ai_addrlen) != 0 ||
        listen(listener.number, BACKLOG) != 0) {
        throw Failure(FAILURE, "cannot listen at " + address + ": " + std::generic_category().message(errno));
    }
    return listener.release();
}

} // namespace

MetricsServer::MetricsServer(const std::string& address, Page page) : page_(std::move(page)), daemon_(nullptr)
{
    Descriptor listener(listen_at(address));
    url_ = url_of(listener.number);
    daemon_ = MHD_start_daemon(MHD_USE_EPOLL_INTERNAL_THREAD | MHD_USE_ERROR_LOG, 0, nullptr, nullptr,
                               &answer, this, MHD_OPTION_EXTERNAL_LOGGER, &be_quiet, nullptr,
                               MHD_OPTION_LISTEN_SOCKET, listener.number, MHD_OPTION_CONNECTION_LIMIT,
                               MOST_CONNECTIONS, MHD_OPTION_CONNECTION_TIMEOUT, CONNECTION_TIMEOUT_S,
                               MHD_OPTION_CONNECTION_MEMORY_LIMIT, MOST_REQUEST, MHD_OPTION_END);
    if (daemon_ == nullptr) {
        throw Failure(FAILURE, "cannot serve at " + address + ": " + std::generic_category().message(errno));
    }
    static_cast<void>(listener.release()); // closed by the library
}

MetricsServer::~MetricsServer()
{
    MHD_stop_daemon(daemon_);
}

} // namespace celldctl
