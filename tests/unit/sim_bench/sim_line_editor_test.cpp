#include "at/line_editor.hpp"

#include <gmock/gmock.h>

#include <vector>

namespace bench {
namespace {

TEST(LineEditorTest, TakesTheSameLinesHoweverTheBytesAreSplit)
{
    const std::string input = "rub\bbish\x11 AT+GMM\r\n\r\natx\b+CSQ\rAT\r";
    for (std::size_t cut = 0; cut <= input.size(); ++cut) {
        std::string echoed;
        std::vector<std::string> lines;
        LineEditor editor({.echo = [&](std::string_view bytes) { echoed += bytes; },
                           .command = [&](const std::string& line) { lines.push_back(line); },
                           .overflow = [] { FAIL(); }});
        editor.feed(input.substr(0, cut));
        editor.feed(input.substr(cut));
        EXPECT_THAT(lines, testing::ElementsAre("+GMM", "+CSQ", "")) << "cut at " << cut;
        EXPECT_EQ(echoed, "AT+GMM\ratx\b+CSQ\rAT\r") << "cut at " << cut;
    }
}

} // namespace
} // namespace bench
