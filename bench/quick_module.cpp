// A module that costs nothing: it answers every command at once, on a pseudo-terminal in a root directory
// with the board's files, so that what is measured is who asks. It never looks at the board: nothing here is
// about power. Orders come on standard input, one a line, and are answered on standard output:
//
//   gaps              the times in microseconds between the module's final line and the arrival of the next
//                     command, oldest first, and forgets them
//   count             how many commands have come
//   stream RATE S     sends RATE reports a second for S seconds, then answers "sent N"
//
// Ends with its standard input.

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <poll.h>
#include <sstream>
#include <string>
#include <string_view>
#include <termios.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

/// What a SARA says that is set up, registered and connected; everything else is answered with OK alone.
constexpr std::array<std::pair<std::string_view, std::string_view>, 23> ANSWERS{{
    {"+GMM", "SARA-U201"},
    {"+GMI", "u-blox"},
    {"+CGSN", "490154203237518"},
    {"+UUSBCONF?", "+UUSBCONF: 2,\"ECM\",,\"0x1104\""},
    {"+UDCONF=50", "+UDCONF: 50,1"},
    {"+UGPIOC?", "+UGPIOC:\r\n16,255\r\n23,0\r\n24,0\r\n25,255\r\n42,1"},
    {"+URAT?", "+URAT: 1,2"},
    {"+CCLK?", "+CCLK: \"26/11/25,17:07:08+04\""},
    {"+CSQ", "+CSQ: 20,99"},
    {"+UANTR=0", "+UANTR: 0,10"},
    {"+CPIN?", "+CPIN: READY"},
    {"+CCID", "+CCID: 8949010010000000017"},
    {"+CIMI", "001010000000001"},
    {"+CREG?", "+CREG: 2,1,\"1F4E\",\"44A5F2\",2"},
    {"+CGREG?", "+CGREG: 2,1,\"1F4E\",\"44A5F2\",2,\"02\""},
    {"+UREG?", "+UREG: 1,3"},
    {"+COPS?", "+COPS: 0,0,\"Bench Mobile\",2"},
    {"+CGACT?", "+CGACT: 1,1"},
    {"+UDOPN=2", "+UDOPN: 2,\"Bench Mobile\""},
    {"+UDOPN=7", "+UDOPN: 7,\"Bench SIM\""},
    {"+UDOPN=0", "+UDOPN: 0,\"00101\""},
    {"+UNFM?", "+UNFM: 1,1,0,0,0,0"},
    {"+UGPIOR=42", "+UGPIOR: 42,1"},
}};

constexpr std::array<std::string_view, 4> REPORTS{"\r\n+CREG: 1,\"1F4E\",\"44A5F2\",2\r\n",
                                                  "\r\n+CGREG: 1,\"1F4E\",\"44A5F2\",2,\"02\"\r\n",
                                                  "\r\n+CIEV: 2,3\r\n", "\r\n+UREG: 3\r\n"};

constexpr std::array PINS{3, 9, 142, 144, 145}; // of a QBX board

void die(const char* what)
{
    std::perror(what);
    std::exit(EXIT_FAILURE);
}

void make_board(const std::filesystem::path& gpio)
{
    std::filesystem::create_directories(gpio);
    std::ofstream(gpio / "export") << "";
    for (const int pin : PINS) {
        const auto directory = gpio / ("gpio" + std::to_string(pin));
        std::filesystem::create_directories(directory);
        std::ofstream(directory / "direction") << "in\n";
        std::ofstream(directory / "value") << "0\n"; // VINT: the module runs
    }
}

/// The module's end; the line's other end stays open, so that no one who closes it hangs the module up.
int make_line(const std::filesystem::path& link)
{
    const int module = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (module == -1 || ::grantpt(module) != 0 || ::unlockpt(module) != 0) {
        die("pseudo-terminal");
    }
    const char* const name = ::ptsname(module);
    const int line = ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings{};
    if (line == -1 || ::tcgetattr(line, &settings) != 0) {
        die(name);
    }
    ::cfmakeraw(&settings);
    ::tcsetattr(line, TCSANOW, &settings);
    std::filesystem::create_directories(link.parent_path());
    std::filesystem::remove(link);
    std::filesystem::create_symlink(name, link);
    return module;
}

class QuickModule {
public:
    explicit QuickModule(int line) : line_(line) {}

    void serve()
    {
        while (true) {
            std::array<pollfd, 2> wanted{{{line_, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
            if (::poll(wanted.data(), wanted.size(), until_next_report()) == -1 && errno != EINTR) {
                die("poll");
            }
            if ((wanted[0].revents & POLLIN) != 0) {
                take_commands();
            }
            send_reports_due();
            if (wanted[1].revents != 0 && !take_order()) {
                return;
            }
        }
    }

private:
    void take_commands()
    {
        std::array<char, 4096> bytes;
        const auto got = ::read(line_, bytes.data(), bytes.size());
        if (got <= 0) {
            return;
        }
        const auto now = Clock::now();
        input_.append(bytes.data(), static_cast<std::size_t>(got));
        for (auto end = input_.find("\r\n"); end != std::string::npos; end = input_.find("\r\n")) {
            if (answered_ != Clock::time_point()) {
                gaps_.push_back(std::chrono::duration<double, std::micro>(now - answered_).count());
            }
            answer(std::string_view(input_).substr(0, end));
            input_.erase(0, end + 2);
        }
    }

    void answer(std::string_view line)
    {
        ++commands_;
        line.remove_prefix(std::min<std::size_t>(2, line.size())); // "AT"
        std::string text = "\r\nOK\r\n";
        for (const auto& [command, said] : ANSWERS) {
            if (line == command) {
                text = "\r\n" + std::string(said) + "\r\n\r\nOK\r\n";
                break;
            }
        }
        answered_ = Clock::now(); // before: whoever is woken may be quicker than the return of write(2)
        put(text);
    }

    void put(std::string_view text) const
    {
        while (!text.empty()) {
            const auto put = ::write(line_, text.data(), text.size());
            if (put < 0 && errno != EINTR && errno != EAGAIN) {
                die("write");
            }
            text.remove_prefix(put > 0 ? static_cast<std::size_t>(put) : 0);
        }
    }

    int until_next_report() const
    {
        if (sent_ == to_send_) {
            return -1;
        }
        const auto left = begin_ + interval_ * sent_ - Clock::now();
        const auto ms = std::chrono::ceil<std::chrono::milliseconds>(left).count();
        return ms > 0 ? static_cast<int>(ms) : 0;
    }

    void send_reports_due()
    {
        const bool streaming = sent_ != to_send_;
        while (sent_ != to_send_ && Clock::now() >= begin_ + interval_ * sent_) {
            put(REPORTS[static_cast<std::size_t>(sent_) % REPORTS.size()]);
            ++sent_;
        }
        if (streaming && sent_ == to_send_) {
            std::cout << "sent " << sent_ << std::endl;
        }
    }

    bool take_order()
    {
        std::string line;
        if (!std::getline(std::cin, line)) {
            return false;
        }
        std::istringstream words(line);
        std::string order;
        words >> order;
        if (order == "gaps") {
            for (const double gap : std::exchange(gaps_, {})) {
                std::cout << gap << ' ';
            }
            std::cout << std::endl;
        } else if (order == "count") {
            std::cout << commands_ << std::endl;
        } else if (order == "stream") {
            long rate = 0;
            long seconds = 0;
            words >> rate >> seconds;
            begin_ = Clock::now();
            interval_ = std::chrono::nanoseconds(std::chrono::seconds(1)) / std::max(rate, 1L);
            sent_ = 0;
            to_send_ = rate * seconds;
        } else {
            std::cout << "unknown order" << std::endl;
        }
        return true;
    }

    int line_;
    std::string input_;
    long commands_ = 0;
    Clock::time_point answered_;
    std::vector<double> gaps_; // microseconds
    Clock::time_point begin_;
    std::chrono::nanoseconds interval_{};
    long sent_ = 0;
    long to_send_ = 0;
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: quick-module ROOT\n";
        return EXIT_FAILURE;
    }
    const std::filesystem::path root = argv[1];
    make_board(root / "sys/class/gpio");
    const int line = make_line(root / "dev/ttyUbloxModemAT");
    std::cout << "ready" << std::endl;
    QuickModule(line).serve();
    return EXIT_SUCCESS;
}
