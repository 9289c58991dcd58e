#include "at/registration_lines.hpp"

#include <gtest/gtest.h>

using registration::Domain;
using registration::Update;

namespace {

struct Line {
    Domain domain;
    bool answer;
    const char* text;
    int status;
    std::optional<std::uint32_t> area, cell, routing;
    std::optional<int> rat;
};

} // namespace

TEST(Registration, ReadsWhatModulesReallySay)
{
    constexpr auto NONE = std::nullopt;
    const Line lines[] = {
        // the stated forms
        {Domain::CS, true, R"(+CREG: 2,1,"1A2B","01C3D4E5",2)", 1, 0x1a2b, 0x1c3d4e5, NONE, 2},
        {Domain::CS, false, R"(+CREG: 5,"1A2B","01C3",0)", 5, 0x1a2b, 0x1c3, NONE, 0},
        {Domain::PS, true, R"(+CGREG: 2,1,"1A2B","01C3",2,1)", 1, 0x1a2b, 0x1c3, 1, 2},
        {Domain::EPS, false, R"(+CEREG: 3,"1A2B","01C3",7,0,15)", 3, 0x1a2b, 0x1c3, NONE, 7},
        {Domain::CS, false, "+CREG: 2", 2, NONE, NONE, NONE, NONE},
        {Domain::CS, true, "+CREG: 0,10", 10, NONE, NONE, NONE, NONE},
        // URCs joined in front of, and behind, the answer
        {Domain::CS, true, R"(+CREG: 5,"00FF","00000001",0+CREG: 2,1,"1A2B","01C3",2)", 1, 0x1a2b, 0x1c3,
         NONE, 2},
        {Domain::CS, true, R"(+CREG: 2,1,"1A2B","01C3",2+CREG: 5)", 1, 0x1a2b, 0x1c3, NONE, 2},
        // no blank, padding, no quotes, empty places
        {Domain::CS, true, R"(+CREG:2, 01 ,"1A2B","01C3",2)", 1, 0x1a2b, 0x1c3, NONE, 2},
        {Domain::CS, true, "+CREG: 2,1,1A2B,01C3,2", 1, 0x1a2b, 0x1c3, NONE, 2},
        {Domain::CS, true, R"(+CREG: 2,2,"","",)", 2, 0, 0, NONE, NONE},
        // a quoted routing area, and one inserted on LTE
        {Domain::PS, true, R"(+CGREG: 2,1,"1A2B","01C3",2,"1f")", 1, 0x1a2b, 0x1c3, 0x1f, 2},
        {Domain::EPS, false, R"(+CEREG: 1,"1A2B","02","01C3D4E5",7)", 1, 0x1a2b, 0x1c3d4e5, 2, 7},
        {Domain::EPS, true, "+CEREG: 3,1,1A2B,02,01C3D4E5,7", 1, 0x1a2b, 0x1c3d4e5, 2, 7},
        // what a scan would have read before it stopped
        {Domain::CS, false, R"(+CREG: 1,"1A2B","zz",2)", 1, 0x1a2b, NONE, NONE, 2},
        {Domain::CS, false, R"(+CREG: 1,"1A2B")", 1, 0x1a2b, NONE, NONE, NONE},
        // an unknown technology must not leave the old one standing
        {Domain::CS, false, R"(+CREG: 1,"1A2B","01C3",255)", 1, 0x1a2b, 0x1c3, NONE, 255},
    };
    for (const auto& line : lines) {
        SCOPED_TRACE(line.text);
        const auto update = line.answer ? registration::parse_answer(line.domain, line.text)
                                        : registration::parse_urc(line.domain, line.text);
        ASSERT_TRUE(update);
        EXPECT_EQ(update->status, line.status);
        EXPECT_EQ(update->area, line.area);
        EXPECT_EQ(update->cell, line.cell);
        EXPECT_EQ(update->routing_area, line.routing);
        EXPECT_EQ(update->access_technology, line.rat);
    }
    EXPECT_EQ(registration::parse_urc(Domain::EPS, R"(+CEREG: 3,"1A2B","01C3",7,0,15)")->reject_cause, 15);
}

TEST(Registration, ReadsNothingFromGarbage)
{
    for (const char* text : {"", "+CREG:", "+CREG: ", "+CREG: x", "+CREG: \"", "OK", "+CREG: 5"}) {
        EXPECT_FALSE(registration::parse_answer(Domain::CS, text)) << text;
    }
    EXPECT_FALSE(registration::parse_urc(Domain::CS, "+CREG: 99999999999"));
    EXPECT_FALSE(registration::parse_urc(Domain::CS, "+CREG: " + std::string(70000, ',')));
}
