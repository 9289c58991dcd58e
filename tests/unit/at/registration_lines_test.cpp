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
        {Domain::CS, true, R"(+CREG: 2,2+CREG: 2,1,"1A2B","01C3",2)", 1, 0x1a2b, 0x1c3, NONE, 2}, // the last
        // no blank, padding, no quotes, empty places
        {Domain::CS, true, R"(+CREG:2, 01 ,"1A2B","01C3",2)", 1, 0x1a2b, 0x1c3, NONE, 2},
        {Domain::CS, true, "+CREG: 2,1,1A2B,01C3,2", 1, 0x1a2b, 0x1c3, NONE, 2},
        {Domain::CS, true, R"(+CREG:002,001,"1A2B","01C3",000)", 1, 0x1a2b, 0x1c3, NONE, 0},
        {Domain::CS, false, R"(+CREG: 005,"1A2B","01C3","000")", 5, 0x1a2b, 0x1c3, NONE, 0},
        {Domain::EPS, false, R"(+CEREG: 1,"1A2B","01C3","007",00,015)", 1, 0x1a2b, 0x1c3, NONE, 7},
        // a quoted routing area, and one inserted on LTE
        {Domain::PS, true, R"(+CGREG: 2,1,"1A2B","01C3",2,"1f")", 1, 0x1a2b, 0x1c3, 0x1f, 2},
        {Domain::EPS, false, R"(+CEREG: 1,"1A2B","02","01C3D4E5",7)", 1, 0x1a2b, 0x1c3d4e5, 2, 7},
        {Domain::EPS, true, "+CEREG: 3,1,1A2B,02,01C3D4E5,7", 1, 0x1a2b, 0x1c3d4e5, 2, 7},
        {Domain::EPS, false, R"(+CEREG: 1,"1A2B","02","01C3D4E5",255)", 1, 0x1a2b, 0x1c3d4e5, 2, 255},
        {Domain::EPS, true, "+CEREG: 3,1,1A2B,02,01C3D4E5,255", 1, 0x1a2b, 0x1c3d4e5, 2, 255},
        {Domain::EPS, true, "+CEREG: 3,1,1A2B,02,01C3D4E5,", 1, 0x1a2b, 0x1c3d4e5, 2, 255},
        {Domain::EPS, false, R"(+CEREG: 1,"1A2B","02","01C3D4E5")", 1, 0x1a2b, 0x1c3d4e5, 2, NONE},
        {Domain::PS, false, R"(+CGREG: 1,"1A2B","01C3",255,"FF")", 1, 0x1a2b, 0x1c3, 0xff, 255},
        {Domain::PS, false, R"(+CGREG: 1,"1A2B","01C3",2,"10")", 1, 0x1a2b, 0x1c3, 0x10, 2},
        {Domain::PS, false, R"(+CGREG: 1,"1A2B","01C3",2,16)", 1, 0x1a2b, 0x1c3, 16, 2},
        // and none inserted, whatever is behind the technology
        {Domain::EPS, false, R"(+CEREG: 1,"1A2B","01C3",255,0,15)", 1, 0x1a2b, 0x1c3, NONE, 255},
        {Domain::EPS, false, R"(+CEREG: 1,"1A2B","01C3",,0,15)", 1, 0x1a2b, 0x1c3, NONE, 255},
        // what a scan would have read before it stopped
        {Domain::CS, false, R"(+CREG: 1,"1A2B","zz",2)", 1, 0x1a2b, NONE, NONE, 2},
        {Domain::CS, false, R"(+CREG: 1,"1A2B")", 1, 0x1a2b, NONE, NONE, NONE},
        // an unknown technology must not leave the old one standing; one that nobody can read says nothing
        {Domain::CS, false, R"(+CREG: 1,"1A2B","01C3",255)", 1, 0x1a2b, 0x1c3, NONE, 255},
        {Domain::CS, false, R"(+CREG: 1,"1A2B","01C3",)", 1, 0x1a2b, 0x1c3, NONE, 255},
        {Domain::CS, true, R"(+CREG: 2,2,"","","")", 2, 0, 0, NONE, 255},
        {Domain::CS, false, R"(+CREG: 1,"1A2B","01C3",15)", 1, 0x1a2b, 0x1c3, NONE, 15},
        {Domain::CS, false, R"(+CREG: 1,"1A2B","01C3",16)", 1, 0x1a2b, 0x1c3, NONE, 255},
        {Domain::CS, false, R"(+CREG: 1,"1A2B","01C3",-1)", 1, 0x1a2b, 0x1c3, NONE, 255},
        {Domain::CS, false, R"(+CREG: 1,"1A2B","01C3",x)", 1, 0x1a2b, 0x1c3, NONE, NONE},
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
    for (const char* causes : {R"(+CEREG: 3,"1A2B","01C3",7,0,15)", "+CEREG: 3,,,,0,15",
                               R"(+CEREG: 3,"1A2B","02","01C3",7,0,15)"}) {
        const auto update = registration::parse_urc(Domain::EPS, causes);
        ASSERT_TRUE(update);
        EXPECT_EQ(update->cause_type, 0) << causes;
        EXPECT_EQ(update->reject_cause, 15) << causes;
    }
}

// 3GPP TS 27.007, 7.2, 10.1.20, 10.1.22: what follows <stat>, for every <n> of a domain. A late answer is one
// number longer than a report.
TEST(Registration, TellsAnAnswerFromAReport)
{
    struct {
        Domain domain;
        const char* tail;
    } const tails[] = {
        {Domain::CS, ""},
        {Domain::CS, R"(,"1A2B","01C3D4E5")"},
        {Domain::CS, R"(,"1A2B","01C3D4E5",7)"},
        {Domain::CS, R"(,"1A2B","01C3D4E5",7,0,15)"},
        {Domain::CS, ",1A2B,01C3D4E5,7"},
        {Domain::CS, ",1234,0003,7"},
        {Domain::CS, ",,,"},
        {Domain::PS, ""},
        {Domain::PS, R"(,"1A2B","01C3D4E5",7,"01")"},
        {Domain::PS, R"(,"1A2B","01C3D4E5",7,"01",0,15)"},
        {Domain::PS, R"(,"1A2B","01C3D4E5",7,"01",,,"00100100","01000111","00000010")"},
        {Domain::EPS, ""},
        {Domain::EPS, R"(,"1A2B","01C3D4E5",7)"},
        {Domain::EPS, R"(,"1A2B","02","01C3D4E5",7)"},
        {Domain::EPS, ",1A2B,02,01C3D4E5,7"},
        {Domain::EPS, R"(,"1A2B","01C3D4E5",7,0,15)"},
        {Domain::EPS, ",,,,0,15"},
        {Domain::EPS, R"(,"1A2B","01C3D4E5",7,,,"00100100","01000111")"},
    };
    for (const auto& [domain, tail] : tails) {
        for (const char* status : {"0", "3", "5", "10", "001"}) {
            const std::string report = std::string(registration::prefix_of(domain)) + ": " + status + tail;
            EXPECT_TRUE(registration::parse_urc(domain, report)) << report;
            EXPECT_FALSE(registration::parse_answer(domain, report)) << report;
            for (const char* mode : {"0", "2", "3", "5", "002"}) {
                const std::string answer =
                    std::string(registration::prefix_of(domain)) + ": " + mode + "," + status + tail;
                EXPECT_FALSE(registration::parse_urc(domain, answer)) << answer;
                EXPECT_TRUE(registration::parse_answer(domain, answer)) << answer;
            }
        }
    }
    // Reports of a firmware that leaves out quotes and padding fit both; others are no mode or status.
    for (const char* either :
         {"+CREG: 1,12,34567,2", "+CREG: 1,12,345", "+CREG: 2,1,1C3,7", "+CREG: 6,1", "+CREG: 2,100",
          "+CREG: 2,1,zzzz,01C3", R"(+CREG: 1,"12","34",2)", "+CREG: 2,-1"}) {
        EXPECT_TRUE(registration::parse_urc(Domain::CS, either)) << either;
    }
}

TEST(Registration, ReadsNothingFromGarbage)
{
    for (const char* text : {"", "+CREG:", "+CREG: ", "+CREG: x", "+CREG: \"", "OK", "+CREG: 5"}) {
        EXPECT_FALSE(registration::parse_answer(Domain::CS, text)) << text;
    }
    EXPECT_FALSE(registration::parse_urc(Domain::CS, "+CREG: 99999999999"));
    EXPECT_FALSE(registration::parse_urc(Domain::CS, "+CREG: " + std::string(70000, ',')));
}
