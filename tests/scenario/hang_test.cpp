#include "scenario/rig.hpp"

namespace {

class Hang : public Rig {
protected:
    Hang() : Rig(std::chrono::seconds(580)) {}
};

TEST_F(Hang, IsEndedByAResetAndTheConnectionComesBack)
{
    connect({.settings = "antenna.frequency = 300\n"}); // whose questions would only prolong it
    sim("hang");
    await_reconnection();
    EXPECT_EQ(resets(), 2) << "the first boot's and this one";
    EXPECT_EQ(bus().newest<pb::ModemStatus>("system/modem/status")->reset_reason(),
              pb::ModemStatus_ModemResetReason_AT_PORT_TIMEOUT);
}

} // namespace
