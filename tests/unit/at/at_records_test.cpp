#include "at/at_command.hpp"

#include <gtest/gtest.h>

namespace {

TEST(AtCommandRecord, TakesNothingOddForAnAnswersPrefix)
{
    for (const std::string row : {"+COPS=0,? -> +COPS", "+CREG? -> +CREG", "&F -> &F", "D*99# -> ", " -> "}) {
        const AtCommand command(row.substr(0, row.find(" -> ")));
        EXPECT_EQ(command.command + " -> " + command.prefix(), row);
    }
    AtCommand own("+UGPIOR=23");
    own.expected_prefix = "+UGPIO";
    EXPECT_EQ(own.prefix(), "+UGPIO");
}

TEST(AtCommandRecord, AFinalLineThatNobodyKnowsIsAnError)
{
    for (const auto& [line, code] : {std::pair{"+CMS ERROR: 500", AtErrorCode::CmsError},
                                     {"ABORTED", AtErrorCode::Error},
                                     {"NO CARRIER", AtErrorCode::UnexpectedResponse},
                                     {"", AtErrorCode::UnexpectedResponse}}) {
        EXPECT_EQ(AtCommand::exec_result({"text +CME ERROR: 1", line}).unwrapErr().code, code) << line;
    }
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

} // namespace
