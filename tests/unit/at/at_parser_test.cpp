#include "at/at_parser.hpp"
#include "support/log_capture.hpp"

#include <gtest/gtest.h>

namespace {

using Type = AtCommandResponse::Type;
using Level = LogCapture::Level;

class AtParserTest : public testing::Test {
protected:
    // What came out, in order: "U:" unsolicited, "F:" the command's text and its final line.
    std::string read(const std::string& bytes)
    {
        parser.feed_input(bytes);
        std::string seen;
        for (const auto& response : parser.take_responses()) {
            seen += response.type == Type::Final ? "F:" + response.message + "=" + response.result + ";"
                                                 : "U:" + response.message + ";";
        }
        return seen;
    }

    LogCapture log{Level::INFO};
    AtParser parser;
};

TEST_F(AtParserTest, ReadsAnAnswerCutAtEveryByte)
{
    const std::string stream = "\r\n+CREG: 0,1\r\n\r\nOK\r\n";
    for (std::size_t cut = 0; cut < stream.size(); ++cut) {
        parser.active_command(AtCommand("+CREG?"));
        EXPECT_EQ(read(stream.substr(0, cut)), "") << cut;
        EXPECT_EQ(read(stream.substr(cut)), "F:+CREG: 0,1=OK;") << cut;
    }
}

TEST_F(AtParserTest, TellsTheCommandsLinesFromUnsolicitedOnes)
{
    EXPECT_EQ(read("\r\n+CREG: 1,5\r\nOK\r\nRING\r\n"), "U:+CREG: 1,5;U:RING;");
    parser.active_command(AtCommand("+CSQ"));
    EXPECT_EQ(read("+CREG: 2\r\n+CSQ: 20,99\r\n8944\r\n+CME ERROR: 3\r\nOK\r\n"),
              "U:+CREG: 2;F:+CSQ: 20,998944=+CME ERROR: 3;");
    parser.active_command(AtCommand("D*99#")); // no prefix: every line is its own
    EXPECT_EQ(read("+CREG: 2\r\nABORTED\r\n"), "F:+CREG: 2=ABORTED;");
    parser.active_command(AtCommand("+CSQ"));
    parser.timeout_active_command();
    EXPECT_EQ(read("+CSQ: 1,2\r\nOK\r\n"), "U:+CSQ: 1,2;");
}

TEST_F(AtParserTest, TheTextOfATimedOutCommandStaysInFrontOfTheNext)
{
    parser.active_command(AtCommand("+CGSN"));
    EXPECT_EQ(read("3569\r\n"), "");
    parser.active_command(AtCommand("+CSQ")); // the port starts the next without telling of a time-out
    EXPECT_EQ(read("+CSQ: 1,2\r\nOK\r\n"), "F:3569+CSQ: 1,2=OK;");
}

TEST_F(AtParserTest, CutsALineThatNeverEndsAndGoesOnWithTheNext)
{
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(read(std::string(1000, 'x')), "");
    }
    EXPECT_EQ(log.count("Line without an end"), 1U) << log;
    EXPECT_EQ(read("xx\r"), "");
    EXPECT_EQ(read("\n+CREG: 1\r\n"), "U:+CREG: 1;"); // an end that is cut in two is an end
    EXPECT_EQ(read(std::string(AtParser::LIMIT, 'y') + "\r\n").size(), AtParser::LIMIT + 3);
}

TEST_F(AtParserTest, AFloodOfLinesIsCutButTheFinalLineComes)
{
    parser.active_command(AtCommand("+COPS=?"));
    for (int i = 0; i < 5000; ++i) { // 140 KiB each of text and of unsolicited results, nobody takes them
        parser.feed_input("+COPS: twenty eight bytes long\r\n+CREG: twenty eight bytes long\r\n");
    }
    parser.feed_input("OK\r\n");
    std::size_t unsolicited = 0;
    const auto responses = parser.take_responses();
    for (const auto& response : responses) {
        unsolicited += response.type == Type::Unsolicited ? response.message.size() : 0;
    }
    EXPECT_LE(unsolicited, AtParser::LIMIT);
    EXPECT_EQ(responses.back().result, "OK");
    EXPECT_LE(responses.back().message.size(), AtParser::LIMIT);
    EXPECT_EQ(log.records().size(), 2U) << log;
    EXPECT_EQ(read("+CREG: 1\r\n"), "U:+CREG: 1;");
}

} // namespace
