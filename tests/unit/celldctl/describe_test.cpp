#include "bus/message_adapter.hpp"
#include "describe.hpp"

#include <ecu/kova/rt/signal_adapter.hpp>
#include <gmock/gmock.h>

using testing::HasSubstr;
namespace com = ecu::kova::com;
namespace pb = ecu::kova::pb;

namespace {

std::string signal_text(const std::string& topic, ecu::kova::rt::SignalData data)
{
    auto& adapter = ecu::kova::rt::SignalAdapter::instance();
    auto group = adapter.create_sg(topic);
    EXPECT_TRUE(static_cast<bool>(group.set_signal_data(group.default_signal_name(), std::move(data))));
    return celldctl::describe(topic, adapter.pack(group).value()).text;
}

} // namespace

TEST(Describe, NamesTheFieldsOfAStatusAndTellsItsState)
{
    pb::ModemStatus status;
    status.set_state(pb::ModemStatus_ModemState_CONNECTED);
    status.mutable_location()->set_cell_id(4711);
    const auto description = celldctl::describe(
        "system/modem/status", *com::PbInternalMessageAdapter<pb::ModemStatus>().serialize(status));
    EXPECT_THAT(description.text, HasSubstr("state=CONNECTED"));
    EXPECT_THAT(description.text, HasSubstr("cell_id=4711"));
    EXPECT_EQ(description.state, celldctl::modem_state("connected"));
    EXPECT_EQ(celldctl::modem_state("nonsense"), std::nullopt);
}

TEST(Describe, ReadsSignalsByTheirKindAndSaysOfGarbageThatItIsNoFrame)
{
    EXPECT_THAT(signal_text("rt/system/modem_creg", {5}), HasSubstr("modem_creg=ROAMING"));
    EXPECT_THAT(signal_text("rt/system/modem_rssi", {0xff}), HasSubstr("modem_rssi=-1"));
    for (const char* topic : {"system/modem/status", "be/status", "rt/system/modem_creg", "unknown/topic"}) {
        const auto description = celldctl::describe(topic, com::Message({0xff, 0x00, 0x1b}));
        EXPECT_THAT(description.text, HasSubstr("ff")) << topic;
        EXPECT_EQ(description.state, std::nullopt);
    }
}
