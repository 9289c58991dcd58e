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
    EXPECT_EQ(read("+CSQ: 3\r\n"), "");
    parser.timeout_active_command(); // what has come stays in front of the next answer
    EXPECT_EQ(read("+CSQ: 1,2\r\nOK\r\n"), "U:+CSQ: 1,2;");
    parser.active_command(AtCommand("+CGSN"));
    EXPECT_EQ(read("3569\r\nOK\r\n"), "F:+CSQ: 33569=OK;");
}

TEST_F(AtParserTest, CutsALineThatNeverEndsAndGoesOnWithTheNext)
{
    EXPECT_EQ(read(std::string(AtParser::LIMIT, 'x')), "");
    EXPECT_EQ(read("\r\n").size(), AtParser::LIMIT + 3);
    EXPECT_EQ(read(std::string(AtParser::LIMIT, 'x')), "");
    EXPECT_EQ(read("\r"), "");
    EXPECT_EQ(read("\n+CREG: 1\r\n"), "U:+CREG: 1;"); // an end that is cut in two is an end
    for (int i = 0; i < 300; ++i) {
        EXPECT_EQ(read(std::string(1000, 'x')), "");
    }
    EXPECT_EQ(read("xx\r"), "");
    EXPECT_EQ(read("\n+CREG: 1\r\n"), "U:+CREG: 1;");
    EXPECT_EQ(log.count("Line without an end"), 2U) << log;
}

TEST_F(AtParserTest, AFloodOfLinesIsCutButTheFinalLineComes)
{
    constexpr std::size_t MOST = AtParser::LIMIT / 32;
    const std::string bytes = std::string(25, '.') + "\r\n"; // of a line of 32
    for (int round = 1; round <= 2; ++round) {
        parser.active_command(AtCommand("+COPS=?"));
        for (std::size_t i = 0; i < MOST; ++i) { // nobody takes them
            parser.feed_input("+COPS: " + bytes + "+CREG: " + bytes);
        }
        EXPECT_EQ(log.records().size(), 2U * round - 2) << log;
        for (int i = 0; i < 9; ++i) {
            parser.feed_input("+COPS: 1\r\n+CREG: 1\r\n");
        }
        parser.feed_input("OK\r\n");
        const auto responses = parser.take_responses();
        EXPECT_EQ(responses.size(), MOST + 1);
        EXPECT_EQ(responses.back().result, "OK");
        EXPECT_EQ(responses.back().message.size(), AtParser::LIMIT);
        EXPECT_EQ(log.records().size(), 2U * round) << log;
    }
    EXPECT_EQ(read("+CREG: 1\r\n"), "U:+CREG: 1;");
}

TEST_F(AtParserTest, AFreshLineKnowsNothingOfTheLast)
{
    parser.active_command(AtCommand("+CSQ"));
    parser.feed_input("+CSQ: 1\r\n+CREG: 1\r\nhalf");
    parser.forget();
    EXPECT_EQ(read("\r\nOK\r\n+CREG: 2\r\n"), "U:+CREG: 2;");
    EXPECT_EQ(parser.take_stray_finals(), 1U);
    EXPECT_EQ(parser.take_stray_finals(), 0U);
    parser.feed_input(std::string(AtParser::LIMIT + 1, 'x'));
    parser.forget();
    parser.active_command(AtCommand("+CSQ"));
    EXPECT_EQ(read("+CSQ: 2\r\nOK\r\n"), "F:+CSQ: 2=OK;");
}

} // namespace
