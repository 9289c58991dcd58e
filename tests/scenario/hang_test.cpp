#include "scenario/rig.hpp"

namespace {

class Hang : public Rig {};

TEST_F(Hang, IsEndedByAResetAndTheConnectionComesBack)
{
    connect({.settings = "antenna.frequency = 300\n"}); // whose questions would only prolong it
    sim("hang");
    await_reconnection();
    EXPECT_EQ(resets(), 2) << "the first boot's and this one";
    EXPECT_EQ(bus().newest<pb::ModemStatus>("system/modem/status")->reset_reason(),
              pb::ModemStatus_ModemResetReason_AT_PORT_TIMEOUT);
}

TEST_F(Hang, HoldsNeitherAStopNorRadioSilence)
{
    connect({.settings = "antenna.frequency = 1\n"}); // whose thread is in the middle of a command, too
    sim("hang");
    sim("journal clear");
    await("questions in vain", [this] { return journal().size() >= 2; });
    sim("journal clear");
    radio_silence(true);
    await_state(DISABLED);
    EXPECT_FALSE(supply());
    const auto asked = journal();
    EXPECT_EQ(asked.back(), "+CPWROFF");
    EXPECT_LE(asked.size(), 2U) << "nothing but what was under way";

    radio_silence(false);
    await_state(CONNECTED);
    sim("hang");
    sim("journal clear");
    await("a question in vain", [this] { return commands("+") > 0; });
    EXPECT_EQ(terminate(), 0);
    EXPECT_FALSE(supply());
    EXPECT_EQ(resets(), 1) << "the first boot's";
}

} // namespace
