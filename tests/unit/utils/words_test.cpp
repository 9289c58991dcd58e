#include "utils/words.hpp"

#include <gtest/gtest.h>

#include <array>
#include <optional>

TEST(Words, TheNearestIsWhatWasMeantOrNothing)
{
    constexpr std::array KNOWN{"host", "port", "client_name", "sim.internal.apn", "sim.external.apn"};
    const std::pair<const char*, std::optional<std::string>> cases[] = {
        {"client-name", "client_name"},
        {"CLIENT_NAME", "client_name"},
        {"cleintname", "client_name"},  // swapped, left out
        {"clien_namme", "client_name"}, // left out, put in
        {"sim.extrenal.apn", "sim.external.apn"},
        {"sim.exernal.apnn", "sim.external.apn"},
        {"hots", "host"}, // one slip of a short word,
        {"prot", "port"},
        {"hst", "host"},
        {"pots", std::nullopt}, // not two
        {"most", "host"},
        {"nlient_nmme_", "client_name"}, // a third of the letters is the most
        {"nlient_nmmexyz", std::nullopt},
        {"ient_nmmx", std::nullopt}, // what is left out in front counts
        {"broker", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& [word, meant] : cases) {
        const char* const nearest = utils::nearest(word, KNOWN);
        EXPECT_EQ(nearest == nullptr ? std::nullopt : std::optional<std::string>(nearest), meant) << word;
    }
    EXPECT_EQ(utils::nearest(std::string(10'000'000, 'x'), KNOWN), nullptr);
    EXPECT_EQ(utils::nearest("x", {}), nullptr);
}
