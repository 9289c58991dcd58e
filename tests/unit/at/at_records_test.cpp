#include "at/at_command.hpp"

#include <gtest/gtest.h>

namespace {

TEST(AtCommandRecord, ClassifiesAndNamesTheAnswersPrefix)
{
    // 0: set, 1: read, 2: test, 3: action, 4: other
    for (const std::string row :
         {"+COPS=? -> 2 +COPS", "+COPS=?1 -> 0 +COPS", "+COPS=0,? -> 0 +COPS", "+CREG? -> 1 +CREG",
          "+CSQ -> 3 +CSQ", "E0 -> 0 E0", "&F -> 0 &F", "D*99# -> 4 ", " -> 0 ", "+CMEE=2 -> 0 +CMEE"}) {
        const AtCommand command(row.substr(0, row.find(" -> ")));
        EXPECT_EQ(command.command + " -> " + std::to_string(static_cast<int>(command.type)) + ' ' +
                      command.prefix(),
                  row);
    }
    AtCommand own("+UGPIOR=23");
    own.expected_prefix = "+UGPIO";
    EXPECT_EQ(own.prefix(), "+UGPIO");
    EXPECT_EQ(own.build(), "AT+UGPIOR=23\r\n");
    EXPECT_EQ(AtCommand("+CPIN=1234").text_for_log(), "+CPIN=***");
}

TEST(AtCommandRecord, TurnsTheFinalLineIntoAResult)
{
    for (const std::string row :
         {"OK -> 0", "+CME ERROR: SIM not inserted -> 4", "+CMS ERROR: 500 -> 5", "ABORTED -> 3",
          "ERROR -> 3", "PORT_CLOSED -> 14", "NO CARRIER -> 12", " -> 12"}) {
        const auto line = row.substr(0, row.find(" -> "));
        const auto result = AtCommand::exec_result({"text +CME ERROR: 1", line});
        const auto error = result.is_ok() ? AtError{{}, result.unwrap().message, line} : result.unwrapErr();
        const int code = result.is_ok() ? 0 : static_cast<int>(error.code);
        EXPECT_EQ(error.final_response + " -> " + std::to_string(code), row);
        EXPECT_EQ(error.message, "text +CME ERROR: 1");
    }
    EXPECT_TRUE(AtCommand::exec_result({AtCommandResponse::Type::Unsolicited, "+CREG: 1", ""}).is_ok());
}

TEST(AtCommandRecord, UnwrappingTheWrongSideEndsTheProcess)
{
    EXPECT_DEATH((void)PortResult::err("no").unwrap(), "^Attempting to unwrap an error Result\n");
    EXPECT_DEATH((void)PortResult::ok(true).unwrapErr(), "^Attempting to unwrapErr an ok Result\n");
}

TEST(AtCommandResponseRecord, SplitsPrefixAndValueAndFindsThePayload)
{
    // prefix, value, and the payload of "+CREG"
    for (const std::string row :
         {"+CREG: 0,1 -> +CREG|0,1|0,1", "+CREG:0,1 -> +CREG|,1|0,1",
          "+CREG: 5+CREG: 0,1 -> +CREG|5+CREG: 0,1|0,1", "AT+CREG?\r+CREG: 0,1 -> |AT+CREG?\r+CREG: 0,1|0,1",
          "+CREG: -> +CREG|+CREG:|", "+CREG:  -> +CREG|+CREG: |", "+CREG: 5 -> +CREG|5|5",
          "+CME ERROR: 3 -> |+CME ERROR: 3|+CME ERROR: 3", ": x -> |: x|: x",
          "356938035643809 -> |356938035643809|356938035643809", " -> ||"}) {
        const AtCommandResponse response(row.substr(0, row.find(" -> ")), "OK");
        EXPECT_EQ(response.complete_message() + " -> " + response.prefix + '|' + response.value + '|' +
                      response.payload("+CREG"),
                  row);
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
