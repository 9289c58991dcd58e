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
