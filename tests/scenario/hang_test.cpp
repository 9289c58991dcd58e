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
    connect({});
    sim("hang");
    bus().blackout(true);
    await_state(DISABLED);
    EXPECT_FALSE(supply());

    bus().blackout(false);
    await_state(CONNECTED);
    sim("hang");
    sim("journal clear");
    await("a question in vain", [this] { return commands("+") > 0; });
    EXPECT_EQ(terminate(), 0);
    EXPECT_FALSE(supply());
    EXPECT_EQ(resets(), 1) << "the first boot's";
}

} // namespace
