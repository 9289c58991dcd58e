#include "modem_fixture.hpp"

#include <gmock/gmock.h>

namespace {

struct Loss {
    std::vector<std::string> reports;
    std::string reason;
};

class Causes : public ModemFixture, public ::testing::WithParamInterface<Loss> {};

} // namespace

TEST_P(Causes, ALostConnectionSaysWhyTheNetworkOrTheCardTookIt)
{
    run_until(State::CONNECTED);
    log.clear();
    for (const auto& report : GetParam().reports) {
        module.urc(report);
    }
    step();
    EXPECT_NE(state(), State::CONNECTED);
    const auto records = log.records();
    const auto change = std::find_if(records.begin(), records.end(), [](const auto& record) {
        return record.text.find("Change state from 'Modem::State::CONNECTED'") == 0;
    });
    ASSERT_LT(change - records.begin() + 1, static_cast<std::ptrdiff_t>(records.size())) << log;
    EXPECT_THAT((change + 1)->text, testing::StartsWith("Reason: " + GetParam().reason + ", after "));
    EXPECT_EQ((change + 1)->level, LogCapture::Level::NOTICE);
}

INSTANTIATE_TEST_SUITE_P(
    Lost, Causes,
    ::testing::Values(Loss{{"+CREG: 0", "+CGREG: 0"}, "not registered, no search"},
                      Loss{{"+CREG: 3", "+CGREG: 3", "+CEREG: 3,,,,0,15"},
                           "registration denied, cause 15 (No suitable cells in tracking area)"},
                      Loss{{"+CREG: 0", "+CGREG: 0", "+CEREG: 3,,,,0,77"}, "registration denied, cause 77"},
                      // a denial that a registration has ended explains no later loss
                      Loss{{"+CEREG: 3,,,,0,15", "+CEREG: 1", "+CREG: 0", "+CGREG: 3", "+CEREG: 0"},
                           "registration denied"},
                      Loss{{"+CIEV: 12,0", "+CREG: 0", "+CGREG: 0"}, "SIM removed"}));
