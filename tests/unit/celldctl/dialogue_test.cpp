#include "dialogue.hpp"
#include "exit_status.hpp"
#include "report.hpp"
#include "support/temp_root.hpp"

#include <gmock/gmock.h>

#include <functional>

namespace {

class Recorded : public ::testing::Test {
protected:
    std::string shown(const std::string& text)
    {
        root.write("/recording", text);
        std::string all;
        for (const auto& entry : celldctl::read_dialogue({root.path("/recording").string()}).entries) {
            all += celldctl::entry_text(entry);
        }
        return all;
    }
    static void expect_refusal(const std::function<void()>& action, const std::string& what,
                               int status = celldctl::UNREADABLE)
    {
        try {
            action();
            ADD_FAILURE() << what;
        } catch (const celldctl::Failure& failure) {
            EXPECT_THAT(failure.what(), ::testing::HasSubstr(what));
            EXPECT_EQ(failure.status(), status) << what;
        }
    }
    static std::string line(const std::string& rest) { return "2026-11-25T16:00:00.000Z " + rest + "\n"; }

    TempRoot root;
};

} // namespace

TEST_F(Recorded, HasEachAnswerBesideItsCommand)
{
    EXPECT_EQ(shown(line("10.000 = opened /dev/x") + line("10.000 > AT+CREG?") + line("10.037 < +CREG: 2,1") +
                    line("10.037 < OK") + line("11.000 < +UUX: \\x1B\x1b") +
                    line("12.000 > AT+CPIN=\"***\"") + line("13.500 < +CME ERROR: SIM busy") +
                    "# 3 lines are missing here\n" + line("14.000 > AT+COPS=0") +
                    line("24.000 ! time-out AT+COPS=0") + line("25.000 < OK") +
                    line("26.000 ? of a later version") + line("27.000 ! not sent AT+CSQ") +
                    line("28.000 > AT") + line("28.010 = hung up")),
              "16:00:00.000Z   = port opened /dev/x\n"
              "16:00:00.000Z   AT+CREG?                                    37 ms   OK\n"
              "                  +CREG: 2,1\n"
              "16:00:00.000Z   < +UUX: \\x1B?\n"
              "16:00:00.000Z   AT+CPIN=\"***\"                            1.500 s    +CME ERROR: SIM busy\n"
              "                # 3 lines are missing here\n"
              "16:00:00.000Z   AT+COPS=0                                10.000 s   TIME-OUT\n"
              "16:00:00.000Z   < OK\n"
              "16:00:00.000Z   AT+CSQ                                       0 ms   not sent\n"
              "16:00:00.000Z   AT                                          10 ms   interrupted\n"
              "16:00:00.000Z   = port hung up\n");
}

TEST_F(Recorded, IsDrawnWithTextThatStaysTextAndTimesOfOneClock)
{
    root.write("/recording", "1970-01-01T00:00:10.000Z 10.000 > AT</script>\n"
                             "2026-11-25T16:00:00.000Z 20.000 < OK\n"
                             "2026-11-25T16:00:01.000Z 21.000 < +CREG: 1\n"
                             "2026-11-25T17:00:00.000Z 5.000 = opened /dev/x\n");
    root.write("/bus", R"({"time":"2026-11-25T16:00:01.000Z","fields":{"state":"</script>"}})"
                       "\n");
    const auto page = celldctl::report_html({root.path("/recording").string(), root.path("/bus").string()});
    EXPECT_EQ(page.find("AT</script>"), std::string::npos);
    EXPECT_NE(page.find(R"("kind":"exchange","text":"AT\u003c/script>","took":10000)"), std::string::npos);
    const auto begin = std::to_string(1'795'622'390'000); // 2026-11-25 15:59:50: put right by what came later
    EXPECT_NE(page.find("{\"t\":" + begin), std::string::npos);
    root.write("/wrong", "# a remark\nsomething else\n");
    root.write("/cut", "{\"time\":\"2026-11-25T16:00:01.000Z\"}\n{\"time\":\"20");
    for (const char* file : {"/wrong", "/cut", "/none", "/"}) {
        const auto path = root.path(file).string();
        expect_refusal([&] { celldctl::report_html({path}); }, path,
                       file[1] == 'w' || file[1] == 'c' ? 6 : 7);
    }
}

TEST_F(Recorded, WhatIsNoneIsNamedWithFileAndLine)
{
    for (const std::string wrong :
         {"nonsense", "2026-11-25T16:00:00.000Z 10.0 > AT", "2026-11-25T16:00:00.000Z 10.000 >AT",
          "2026-13-25T16:00:00.000Z 10.000 > AT", "x\0y"}) {
        expect_refusal([&] { shown(line("10.000 > AT") + wrong + "\n"); }, "/recording, line 2: ");
    }
    for (const auto& none : {std::string("/nowhere"), root.path("/").string()}) {
        expect_refusal([&] { celldctl::read_dialogue({none}); }, none, 7);
    }
}
