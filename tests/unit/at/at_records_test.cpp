#include "at/at_command.hpp"

#include <gtest/gtest.h>

namespace {

using Type = AtCommand::Type;

TEST(AtCommandRecord, ClassifiesAndNamesTheAnswersPrefix)
{
    struct {
        const char* command;
        Type type;
        const char* prefix;
    } const table[] = {
        {"+COPS=?", Type::Test, "+COPS"}, {"+COPS=?1", Type::Set, "+COPS"}, {"+COPS=0,?", Type::Set, "+COPS"},
        {"+CREG?", Type::Read, "+CREG"},  {"+CSQ", Type::Action, "+CSQ"},   {"E0", Type::Set, "E0"},
        {"&F", Type::Set, "&F"},          {"D*99#", Type::Other, ""},       {"", Type::Set, ""},
        {"+CMEE=2", Type::Set, "+CMEE"},
    };
    for (const auto& row : table) {
        const AtCommand command(row.command);
        EXPECT_EQ(command.type, row.type) << row.command;
        EXPECT_EQ(command.prefix(), row.prefix) << row.command;
    }
    AtCommand own("+UGPIOR=23");
    own.expected_prefix = "+UGPIO";
    EXPECT_EQ(own.prefix(), "+UGPIO");
    EXPECT_EQ(own.build(), "AT+UGPIOR=23\r\n");
    EXPECT_EQ(AtCommand("+CPIN=1234").text_for_log(), "+CPIN=***");
}

TEST(AtCommandRecord, TurnsTheFinalLineIntoAResult)
{
    struct {
        const char* final_line;
        int code; // 0: success
    } const table[] = {
        {"OK", 0},
        {"+CME ERROR: SIM not inserted", 4},
        {"+CMS ERROR: 500", 5},
        {"ABORTED", 3},
        {"ERROR", 3},
        {"PORT_CLOSED", 14},
        {"NO CARRIER", 12},
        {"", 12},
    };
    for (const auto& row : table) {
        const auto result = AtCommand::exec_result({"text +CME ERROR: 1", row.final_line});
        ASSERT_EQ(result.is_ok(), row.code == 0) << row.final_line;
        if (row.code != 0) {
            EXPECT_EQ(static_cast<int>(result.unwrapErr().code), row.code) << row.final_line;
            EXPECT_EQ(result.unwrapErr().message, "text +CME ERROR: 1");
            EXPECT_EQ(result.unwrapErr().final_response, row.final_line);
        }
    }
    EXPECT_TRUE(AtCommand::exec_result({AtCommandResponse::Type::Unsolicited, "+CREG: 1", ""}).is_ok());
}

TEST(AtCommandRecord, UnwrappingTheWrongSideEndsTheProcess)
{
    EXPECT_DEATH((void)PortResult::err("no").unwrap(), "^Attempting to unwrap an error Result\n$");
    EXPECT_DEATH((void)PortResult::ok(true).unwrapErr(), "^Attempting to unwrapErr an ok Result\n$");
}

TEST(AtCommandResponseRecord, SplitsPrefixAndValueAndFindsThePayload)
{
    struct {
        const char* message;
        const char* prefix;
        const char* value;
        const char* payload; // of "+CREG"
    } const table[] = {
        {"+CREG: 0,1", "+CREG", "0,1", "0,1"},
        {"+CREG:0,1", "+CREG", ",1", "0,1"}, // without the blank
        {"+CREG: 5+CREG: 0,1", "+CREG", "5+CREG: 0,1", "0,1"},
        {"AT+CREG?\r+CREG: 0,1", "", "AT+CREG?\r+CREG: 0,1", "0,1"}, // an echo in front
        {"+CREG:", "+CREG", "+CREG:", ""},
        {"+CREG: ", "+CREG", "+CREG: ", ""},
        {"+CREG: 5", "+CREG", "5", "5"},
        {"+CME ERROR: 3", "", "+CME ERROR: 3", "+CME ERROR: 3"},
        {": x", "", ": x", ": x"},
        {"356938035643809", "", "356938035643809", "356938035643809"},
        {"", "", "", ""},
    };
    for (const auto& row : table) {
        const AtCommandResponse response(row.message, "OK");
        EXPECT_EQ(response.prefix, row.prefix) << row.message;
        EXPECT_EQ(response.value, row.value) << row.message;
        EXPECT_EQ(response.payload("+CREG"), row.payload) << row.message;
        EXPECT_EQ(response.complete_message(), row.message);
    }
    int mode = -1;
    int status = -1;
    EXPECT_TRUE(AtCommandResponse("+CREG: 0,1", "OK").parse("%d,%d", &mode, &status));
    EXPECT_EQ(status, 1);
    EXPECT_FALSE(AtCommandResponse("", "OK").parse("%d", &mode));
    EXPECT_FALSE(AtCommandResponse("+CREG: x", "OK").parse("%d", &mode));
    EXPECT_TRUE(AtCommandResponse("+CGREG: 1", "") == "+CG");
}

TEST(AtErrorRecord, ShowsNoSecret)
{
    const AtError error{AtErrorCode::CmeError, "AT+CPIN=\"1234\"", "+CME ERROR: incorrect password"};
    EXPECT_EQ(to_log_text(error), "4 'AT+CPIN=\"***\"' '+CME ERROR: incorrect password'");
    EXPECT_TRUE(error.says("CPIN") && error.says("incorrect") && !error.says("SIM"));
}

} // namespace
