#include "at/at_recording.hpp"
#include "stage.hpp"

#include <sstream>

using namespace std::chrono_literals;

namespace {

class Recording : public Stage {
protected:
    Recording() { port.recorder(&recording); }
    ~Recording() override { static_cast<void>(port.stop()); }

    /// The lines so far, without their times; the times themselves are looked at once.
    std::string text()
    {
        EXPECT_TRUE(recording.flush(30s));
        std::istringstream file(root.read(AtRecording::PATH));
        std::string all;
        for (std::string line; std::getline(file, line);) {
            all += line.substr(line.find(' ', line.find(' ') + 1) + 1) + '\n';
        }
        return all;
    }
    /// Forgets what was recorded so far.
    void begin_anew()
    {
        static_cast<void>(text());
        root.remove(AtRecording::PATH);
    }

    AtRecording recording{clock};
};

} // namespace

TEST_F(Recording, HasBothDirectionsWithTheirTimesAndWhatBecameOfThePort)
{
    start();
    answers["AT+CSQ"] = "+CSQ: 20,99";
    EXPECT_EQ(text().substr(0, text().find('\n')), "= opened /dev/ttyUbloxModemAT");
    begin_anew();
    play("AT+CSQ; wait 1; <+CREG: 2; AT+COPS=0 3; end; AT+CSQ; end");
    const auto file = root.read(AtRecording::PATH);
    EXPECT_EQ(file.find("2024-01-01T"), 0U) << file;
    EXPECT_NE(file.find("Z 36"), std::string::npos) << file; // seconds of the monotonic clock
    const auto lines = text();
    EXPECT_EQ(lines.find("> AT+CSQ\n< +CSQ: 20,99\n< OK\n< +CREG: 2\n> AT+COPS=0\n! time-out AT+COPS=0\n"),
              0U)
        << lines;
    begin_anew();
    hang_up();
    settle();
    static_cast<void>(port.stop());
    EXPECT_EQ(text(), "= hung up\n");
}

TEST_F(Recording, MasksSecretsAlsoWhenTheModuleEchoesThemInPieces)
{
    start();
    begin_anew();
    heard = [this](const std::string& line) {
        say(line.substr(0, 9));
        settle();
        say(line.substr(9) + "\r\r\nOK\r\n");
    };
    play("AT+CPIN=\"4711\"; end; AT+UAUTHREQ=1,2,\"ada\",\"lovelace\"; end");
    const auto lines = text();
    EXPECT_EQ(lines.find("4711"), std::string::npos);
    EXPECT_EQ(lines.find("lovelace"), std::string::npos);
    EXPECT_NE(lines.find("> AT+CPIN=\"***\"\n< AT+CPIN=\"***\"\n< OK\n"), std::string::npos) << lines;
}

TEST_F(Recording, IsOneLineWhateverTheBytes)
{
    start();
    begin_anew();
    say(std::string("+X: a\\b\0\xff\t\x1b[2J\r\n", 16) + std::string(5000, 'y') + "\r\n");
    settle();
    const auto lines = text();
    EXPECT_EQ(lines.find("< +X: a\\x5Cb\\x00\\xFF\\x09\\x1B[2J\n< yyy"), 0U) << lines.substr(0, 100);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), '\n'), 4);
}
