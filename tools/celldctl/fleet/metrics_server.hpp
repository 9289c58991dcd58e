#pragma once

#include <functional>
#include <memory>
#include <string>

struct MHD_Daemon;

namespace celldctl {

/// Serves one page, "/metrics", by HTTP. It has a thread of its own; so many connections at once, each with a
/// time-out, and no request longer than a few kilobytes.
class MetricsServer {
public:
    using Page = std::function<std::string()>; ///< called on the server's thread

    /// `address`: "ADDRESS:PORT", numeric, "[::1]:9818" for IPv6, port 0 for any. Throws UsageError for one
    /// that is none, Failure when it cannot be listened at.
    MetricsServer(const std::string& address, Page page);
    MetricsServer(const MetricsServer&) = delete;
    MetricsServer& operator=(const MetricsServer&) = delete;
    ~MetricsServer();

    /// "http://127.0.0.1:9818/metrics".
    const std::string& url() const { return url_; }

    const Page& page() const { return page_; }

private:
    const Page page_;
    std::string url_;
    MHD_Daemon* daemon_;
};

} // namespace celldctl
