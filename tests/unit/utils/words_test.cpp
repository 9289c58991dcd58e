#include "support/log_capture.hpp"
#include "utils/words.hpp"

#include <gtest/gtest.h>

#include <array>

constexpr std::array KNOWN{"host", "port", "client_name", "sim.internal.apn", "sim.external.apn"};

TEST(Words, TheNearestIsWhatWasMeantOrNothing)
{
    // Letters swapped, left out, put in; one slip of a short word, not two; a third of the letters is the
    // most.
    for (const std::string row :
         {"client-name -> client_name", "sim.internal.apm -> sim.internal.apn", "CLIENT_NAME -> client_name",
          "cleintname -> client_name", "clien_namme -> client_name", "sim.extrenal.apn -> sim.external.apn",
          "sim.exernal.apnn -> sim.external.apn", "hots -> host", "prot -> port", "hst -> host", "pots -> ",
          "most -> host", "nlient_nmme_ -> client_name", "nlient_nmmexyz -> ", "ient_nmmx -> ", "broker -> ",
          " -> "}) {
        const auto word = row.substr(0, row.find(" -> "));
        const char* const nearest = utils::nearest(word, KNOWN);
        EXPECT_EQ(word + " -> " + (nearest == nullptr ? "" : nearest), row);
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
