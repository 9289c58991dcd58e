#include "support/source_tree.hpp"

#include <gtest/gtest.h>

// docs/troubleshooting.md knows every text of WARNING and above.

TEST(Troubleshooting, KnowsEveryWarningAndError)
{
    constexpr std::size_t TELLING = 6;
    const auto page = read_text(CELLD_SOURCE_DIR "/docs/troubleshooting.md");
    std::size_t texts = 0;
    // From a call that logs at WARNING or above to the statement's end.
    for (const auto& [statement, file] :
         found_in_the_sources(R"x((?:\w*(?:LOG|log|log_)\.(?:warning|error|critical|alert|emerg)\()x"
                              R"x(|\b\w*unknown_\.failed\()x"
                              R"x(|Level::(?:WARNING|ERROR|CRITICAL|ALERT|EMERG)\b(?!:)))x"
                              R"x((?:[^;"]|"(?:[^"\\]|\\.)*")*;)x")) {
        std::string longest; // of its literals, without what stands around a value
        for (const auto& text : all_found(statement, R"x("[ '(:,]*((?:[^"\\]|\\.)*?)[ '(:,]*")x")) {
            longest = text.size() > longest.size() ? text : longest;
        }
        if (longest.size() >= TELLING) { // others are made elsewhere; the page has them by hand
            ++texts;
            EXPECT_NE(page.find(longest), std::string::npos) << file << " says: " << longest;
        }
    }
    EXPECT_GT(texts, 80U); // the pattern still finds them
}
