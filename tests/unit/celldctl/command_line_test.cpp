#include "command_line.hpp"

#include <gmock/gmock.h>

using namespace celldctl;
using testing::HasSubstr;

namespace {

CommandLine parse(std::vector<const char*> words)
{
    words.insert(words.begin(), "celldctl");
    return parse_command_line(static_cast<int>(words.size()), words.data());
}

std::string fault_of(std::vector<const char*> words)
{
    try {
        parse(std::move(words));
    } catch (const UsageError& error) {
        return error.what();
    }
    return "none";
}

} // namespace

TEST(CommandLine, TakesTheBrokersOptionsBeforeAndBehindTheVerb)
{
    for (const auto& words : std::vector<std::vector<const char*>>{
             {"-h", "unit", "-u", "me", "-P", "x=y", "status", "--json"},
             {"status", "--json", "--host=unit", "--username", "me", "--pw", "x=y"}}) {
        const auto line = parse(words);
        EXPECT_TRUE(line.run);
        EXPECT_EQ(line.broker.host, "unit");
        EXPECT_EQ(line.broker.username, "me");
        EXPECT_EQ(line.broker.password, "x=y");
    }
    EXPECT_EQ(parse({"monitor", "--only", "Status,signals", "--changes"}).broker.host, std::nullopt);
    EXPECT_THAT(parse({"monitor", "--help"}).text, HasSubstr("--changes"));
    EXPECT_THAT(parse({"--version"}).text, HasSubstr("celldctl "));
}

TEST(CommandLine, SaysWhatIsWrong)
{
    const std::pair<std::vector<const char*>, std::string> cases[] = {
        {{"-h", "unit"}, "a verb is missing"},
        {{"statsu", "--json"}, "there is no verb 'statsu', did you mean 'status'?"},
        {{"status", "monitor"}, "'monitor' is not understood here"},
        {{"wait-for", "conected"}, "STATE: there is no 'conected', did you mean 'connected'?"},
        {{"monitor", "--only", "status,foo"},
         "--only: there is no 'foo'; there are status, registration, hardware, sim, signals, backend, other"},
        {{"monitor", "--timeout", "0"}, "--timeout: Value 0 not in range 1 to 86400"},
        {{"history", "--unit", "truck-17"}, "--unit is not for 'history', which reads files of this host"},
        {{"status", "--unit", "a/b"},
         "--unit: 'a/b' is no id of a unit: it has a '/' in it, which has a meaning in topics"},
        {{"status", "--unit", ""}, "--unit: '' is no id of a unit: it is empty"},
        {{"--unit", "a\x1b[2J", "status"},
         "--unit: 'a\\x1b[2J' is no id of a unit: it has control characters in it, or is no UTF-8"},
    };
    for (const auto& [words, fault] : cases) {
        EXPECT_EQ(fault_of(words), fault);
    }
    for (const auto& id : {std::string("+"), std::string("a#"), std::string("\xff"), std::string("\xc2\x9b"),
                           std::string(65, 'a')}) {
        EXPECT_THAT(fault_of({"status", "--unit", id.c_str()}), HasSubstr("is no id of a unit")) << id;
    }
    EXPECT_EQ(parse({"status", "--unit", std::string(64, 'a').c_str()}).broker.unit, std::string(64, 'a'));
    EXPECT_EQ(parse({"--unit", "L\xc3\xbc\"b\\.1", "watch"}).broker.unit, "L\xc3\xbc\"b\\.1");
    EXPECT_NE(fault_of({"monitor", "--timeout", "5x"}), "none");
}
