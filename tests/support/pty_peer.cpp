#include "support/pty_peer.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <stdlib.h>

namespace {

using namespace std::chrono_literals;

constexpr auto REAL_LIMIT = 5s;
constexpr int POLL_MS = 20;
constexpr const char* LINE_END = "\r\n";

UniqueFd opened_master()
{
    UniqueFd master(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (!master.is_open() || ::grantpt(master.get()) != 0 || ::unlockpt(master.get()) != 0) {
        throw std::runtime_error("no pseudo-terminal");
    }
    return master;
}

std::string name_of_slave(int master)
{
    std::array<char, 64> name = {};
    if (::ptsname_r(master, name.data(), name.size()) != 0) {
        throw std::runtime_error("pseudo-terminal without a name");
    }
    return name.data();
}

} // namespace

PtyPeer::PtyPeer(const std::filesystem::path& device) : master_(opened_master())
{
    const auto name = name_of_slave(master_.get());
    slave_ = UniqueFd(::open(name.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    std::filesystem::create_directories(device.parent_path());
    std::filesystem::remove(device);
    std::filesystem::create_symlink(name, device);
    thread_ = std::thread([this] { play(); });
}

PtyPeer::~PtyPeer()
{
    hang_up();
}

void PtyPeer::hang_up()
{
    playing_ = false;
    if (thread_.joinable()) {
        thread_.join();
    }
    (void)slave_.close();
    (void)master_.close(); // the other side reads a hang-up
}

void PtyPeer::answers(const std::string& line, const std::string& bytes)
{
    const std::lock_guard held(mutex_);
    answers_[line] = bytes;
}

void PtyPeer::listen(std::function<void(const std::string& line)> heard)
{
    const std::lock_guard held(mutex_);
    heard_ = std::move(heard);
}

void PtyPeer::send(const std::string& bytes)
{
    for (std::size_t sent = 0; sent < bytes.size();) {
        const auto count = ::write(master_.get(), bytes.data() + sent, bytes.size() - sent);
        if (count < 0) {
            throw std::runtime_error("the pseudo-terminal takes no more");
        }
        sent += static_cast<std::size_t>(count);
    }
}

bool PtyPeer::await_line(const std::string& line, std::size_t times)
{
    std::unique_lock held(mutex_);
    const auto come = [&] {
        return static_cast<std::size_t>(std::count(lines_.begin(), lines_.end(), line)) >= times;
    };
    return changed_.wait_until(held, std::chrono::steady_clock::now() + REAL_LIMIT, come);
}

std::size_t PtyPeer::count(const std::string& line)
{
    const std::lock_guard held(mutex_);
    return static_cast<std::size_t>(std::count(lines_.begin(), lines_.end(), line));
}

void PtyPeer::play()
{
    std::string input;
    std::array<char, 1024> buffer;
    while (playing_) {
        pollfd line{master_.get(), POLLIN, 0};
        if (::poll(&line, 1, POLL_MS) <= 0) {
            continue;
        }
        const auto got = ::read(master_.get(), buffer.data(), buffer.size());
        input.append(buffer.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
        for (auto end = input.find(LINE_END); end != std::string::npos; end = input.find(LINE_END)) {
            received(input.substr(0, end));
            input.erase(0, end + 2);
        }
    }
}

void PtyPeer::received(const std::string& line)
{
    std::string answer;
    {
        const std::lock_guard held(mutex_);
        lines_.push_back(line);
        const auto known = answers_.find(line);
        answer = known == answers_.end() ? "" : known->second;
        if (heard_) {
            heard_(line);
            answer.clear();
        }
    }
    send(answer);
    changed_.notify_all();
}
