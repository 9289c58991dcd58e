#include "support/log_capture.hpp"
#include "utils/words.hpp"

#include <gtest/gtest.h>

#include <array>

constexpr std::array KNOWN{"host", "port", "client_name", "sim.internal.apn", "sim.external.apn"};

TEST(Words, TheNearestIsWhatWasMeantOrNothing)
{
    const std::pair<const char*, std::string> cases[] = {
        {"client-name", "client_name"},
        {"CLIENT_NAME", "client_name"},
        {"cleintname", "client_name"},  // swapped, left out
        {"clien_namme", "client_name"}, // left out, put in
        {"sim.extrenal.apn", "sim.external.apn"},
        {"sim.exernal.apnn", "sim.external.apn"},
        {"hots", "host"}, // one slip of a short word,
        {"prot", "port"},
        {"hst", "host"},
        {"pots", ""}, // not two
        {"most", "host"},
        {"nlient_nmme_", "client_name"}, // a third of the letters is the most
        {"nlient_nmmexyz", ""},
        {"ient_nmmx", ""}, // what is left out in front counts
        {"broker", ""},
        {"", ""},
    };
    for (const auto& [word, meant] : cases) {
        const char* const nearest = utils::nearest(word, KNOWN);
        EXPECT_EQ(nearest == nullptr ? "" : nearest, meant) << word;
    }
    EXPECT_EQ(utils::nearest(std::string(10'000'000, 'x'), KNOWN), nullptr);
    EXPECT_EQ(utils::nearest("x", {}), nullptr);
}

TEST(Words, AWarningNamesWhatIsKnown)
{
    const LogCapture log;
    for (const char* word : {"", "port", "prot"}) {
        utils::warn_of_unknown(ecu::kova::logging::module("celld.test"), "the key", word, {KNOWN.data(), 2});
    }
    EXPECT_EQ(log.records().size(), 1U);
    EXPECT_TRUE(log.contains(LogCapture::Level::WARNING, "the key is 'prot', which is none of host, port"));
}
