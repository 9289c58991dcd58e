#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <vector>

// docs/troubleshooting.md knows every text of WARNING and above.

namespace {

std::string read(const std::filesystem::path& file)
{
    std::ifstream in(file);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// From a call that logs at WARNING or above to the statement's end.
std::vector<std::string> statements(const std::string& source)
{
    static const std::regex begin(R"(\w*(LOG|log|log_)\.(warning|error|critical|alert|emerg)\()"
                                  R"(|\b\w*unknown_\.failed\()"
                                  R"(|Level::(WARNING|ERROR|CRITICAL|ALERT|EMERG)\b(?!:))");
    std::vector<std::string> all;
    for (std::sregex_iterator at(source.begin(), source.end(), begin), none; at != none; ++at) {
        const auto from = static_cast<std::size_t>(at->position());
        bool quoted = false;
        std::size_t end = from;
        for (; end < source.size() && (quoted || source[end] != ';'); ++end) {
            end += quoted && source[end] == '\\' ? 1 : 0;
            quoted ^= source[end] == '"' && source[end - 1] != '\\';
        }
        all.push_back(source.substr(from, end - from));
    }
    return all;
}

/// The longest literal, its adjoining pieces joined, without what stands around a value.
std::string longest_text(const std::string& statement)
{
    static const std::regex literals(R"x((?:"(?:[^"\\]|\\.)*"\s*)+)x");
    static const std::regex piece(R"x("((?:[^"\\]|\\.)*)")x");
    std::string longest;
    for (std::sregex_iterator at(statement.begin(), statement.end(), literals), none; at != none; ++at) {
        const std::string joined = at->str();
        std::string text;
        for (std::sregex_iterator one(joined.begin(), joined.end(), piece); one != none; ++one) {
            text += (*one)[1];
        }
        const auto first = text.find_first_not_of(" '(:,");
        text =
            first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" '(:,") + 1 - first);
        longest = text.size() > longest.size() ? text : longest;
    }
    return longest;
}

} // namespace

TEST(Troubleshooting, KnowsEveryWarningAndError)
{
    constexpr std::size_t TELLING = 6;
    // Their text is made elsewhere in the file; the page has it by hand.
    std::set<std::string> by_hand{"instance_lock.cpp", "message_adapter.cpp", "modem_variant.cpp",
                                  "mqtt_client.cpp",   "sim_handler.cpp",     "sim_unlock.cpp",
                                  "slips.cpp",         "stream_sink.cpp",     "syslog_sink.cpp"};
    const std::filesystem::path tree = CELLD_SOURCE_DIR;
    const auto page = read(tree / "docs/troubleshooting.md");
    std::size_t texts = 0;
    for (const char* folder : {"src", "platform/src"}) {
        for (const auto& entry : std::filesystem::recursive_directory_iterator(tree / folder)) {
            if (entry.path().extension() != ".cpp") {
                continue;
            }
            for (const auto& statement : statements(read(entry.path()))) {
                const auto text = longest_text(statement);
                if (text.size() < TELLING) {
                    EXPECT_EQ(by_hand.count(entry.path().filename()), 1U)
                        << entry.path() << ": " << statement;
                    continue;
                }
                ++texts;
                EXPECT_NE(page.find(text), std::string::npos) << entry.path() << " says: " << text;
            }
        }
    }
    EXPECT_GT(texts, 80U); // the pattern still finds them
}
