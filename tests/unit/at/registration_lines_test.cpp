#include "at/registration_lines.hpp"

#include <gtest/gtest.h>

using registration::Domain;

namespace {

std::string text_of(const std::optional<registration::Update>& update, const char* kind)
{
    if (!update) {
        return {};
    }
    std::ostringstream text;
    text << std::hex << kind << ' ' << update->status;
    const std::optional<std::int64_t> numbers[] = {update->area,         update->cell,
                                                   update->routing_area, update->access_technology,
                                                   update->cause_type,   update->reject_cause};
    for (const auto& number : numbers) {
        number ? text << ' ' << *number : text << " -";
    }
    return text.str();
}

/// As a report and as an answer, of whichever it is: kind, status, area, cell, routing area, technology,
/// and the two numbers of a cause; hexadecimal.
std::string read(const std::string& line)
{
    std::string seen;
    for (const auto domain : {Domain::CS, Domain::PS, Domain::EPS}) {
        seen += text_of(registration::parse_urc(domain, line), "report");
        seen += text_of(registration::parse_answer(domain, line), "answer");
    }
    return seen;
}

} // namespace

TEST(Registration, ReadsWhatModulesReallySay)
{
    const std::pair<const char*, const char*> lines[] = {
        // the stated forms
        {R"(+CREG: 2,1,"1A2B","01C3D4E5",2)", "answer 1 1a2b 1c3d4e5 - 2 - -"},
        {R"(+CREG: 5,"1A2B","01C3",0)", "report 5 1a2b 1c3 - 0 - -"},
        {R"(+CGREG: 2,1,"1A2B","01C3",2,1)", "answer 1 1a2b 1c3 1 2 - -"},
        {R"(+CEREG: 3,"1A2B","01C3",7,0,15)", "report 3 1a2b 1c3 - 7 0 f"},
        // no blank, padding, no quotes, empty places
        {R"(+CREG:2, 01 ,"1A2B","01C3",2)", "answer 1 1a2b 1c3 - 2 - -"},
        {R"(+CREG:002,001,"1A2B","01C3",000)", "answer 1 1a2b 1c3 - 0 - -"},
        // a quoted routing area, and one inserted on LTE
        {R"(+CGREG: 2,1,"1A2B","01C3",2,"1F")", "answer 1 1a2b 1c3 1f 2 - -"},
        {R"(+CGREG: 1,"1A2B","01C3",2,16)", "report 1 1a2b 1c3 10 2 - -"},
        {R"(+CEREG: 1,"1A2B","02","01C3D4E5",7)", "report 1 1a2b 1c3d4e5 2 7 - -"},
        {"+CEREG: 3,1,1A2B,02,01C3D4E5,", "answer 1 1a2b 1c3d4e5 2 ff - -"},
        // and none inserted, whatever is behind the technology
        {R"(+CEREG: 1,"1A2B","01C3",,0,15)", "report 1 1a2b 1c3 - ff 0 f"},
        // what a scan would have read before it stopped
        {R"(+CREG: 1,"1A2B","zz",2)", "report 1 1a2b - - 2 - -"},
        {R"(+CREG: 1,"zz","1A2B",2)", "report 1 - - - 2 - -"},
        // an unknown technology must not leave the old one standing; one that nobody can read says nothing
        {R"(+CREG: 1,"1A2B","01C3",255)", "report 1 1a2b 1c3 - ff - -"},
        {R"(+CREG: 2,2,"","","")", "answer 2 0 0 - ff - -"},
        {R"(+CREG: 1,"1A2B","01C3",16)", "report 1 1a2b 1c3 - ff - -"},
        {R"(+CREG: 1,"1A2B","01C3",x)", "report 1 1a2b 1c3 - - - -"},
        // a late answer is one number longer than a report (3GPP TS 27.007, 7.2, 10.1.20, 10.1.22)
        {"+CREG: 002,1,,,", "answer 1 0 0 - ff - -"},
        {"+CEREG: 5,10,,,,0,15", "answer a 0 0 - ff 0 f"},
        {R"(+CGREG: 2,3,"1A2B","01C3",7,"01",,,"00100100")", "answer 3 1a2b 1c3 1 7 - -"},
        // what a mode or status cannot be
        {"+CREG: 6,1", "report 6 1 - - - - -"},
        {"+CREG: 2,-1", "report 2 - - - - - -"},
        {"+CREG: -1,1", "report ffffffff 1 - - - - -"},
        {"+CREG: x", ""},
        {"+CREG: \"", ""},
        {"+CREG: 99999999999", ""},
        {"", ""},
    };
    for (const auto& [line, seen] : lines) {
        EXPECT_EQ(read(line), seen) << line;
    }
    // Reports of a firmware that leaves out quotes and padding fit both.
    for (const char* either :
         {"+CREG: 1,12,34567,2", "+CREG: 1,12,345", "+CREG: 2,1,1C3,7", "+CREG: 2,1,zzzz,01C3"}) {
        EXPECT_TRUE(registration::parse_urc(Domain::CS, either)) << either;
    }
    // Reports joined in front of, and behind, the answer; of two answers the last.
    for (const char* joined :
         {R"(+CREG: 5,"00FF","00000001",0+CREG: 2,1,"1A2B","01C3",2)",
          R"(+CREG: 2,1,"1A2B","01C3",2+CREG: 5)", R"(+CREG: 2,2+CREG: 2,1,"1A2B","01C3",2)"}) {
        EXPECT_EQ(text_of(registration::parse_answer(Domain::CS, joined), ""), " 1 1a2b 1c3 - 2 - -")
            << joined;
    }
    EXPECT_EQ(read("+CREG: " + std::string(70000, ',')), "");
}
