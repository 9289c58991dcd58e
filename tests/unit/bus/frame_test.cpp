#include "bus/message_adapter.hpp"
#include "bus/publish.hpp"
#include "support/log_capture.hpp"

#include <ecu/kova/com/in_process_bus.hpp>
#include <gtest/gtest.h>

#include <array>

namespace com = ecu::kova::com;
namespace pb = ecu::kova::pb;

namespace {

class Frame : public ::testing::Test {
protected:
    static com::Message::Payload framed()
    {
        pb::BackendProxyStatus status;
        status.set_status(pb::BackendProxyStatus_Status_BACKEND_CONNECTED);
        return com::PbInternalMessageAdapter<pb::BackendProxyStatus>().serialize(status)->payload();
    }
    static int code_of(com::Message::Payload payload)
    {
        const auto result =
            com::PbInternalMessageAdapter<pb::BackendProxyStatus>().deserialize(com::Message(payload));
        EXPECT_TRUE(result.code == 0 || !result.value.has_status()) << "half of it is none of it";
        return result.code;
    }
};

} // namespace

TEST_F(Frame, IsAHeaderOfEighteenBytesAndTheBody)
{
    const auto frame = framed();
    ASSERT_EQ(frame.size(), 20U);
    pb::XRTHeader header;
    ASSERT_TRUE(header.ParseFromArray(frame.data(), 18));
    EXPECT_EQ(header.length_word(), (2ULL << 32) | (18ULL << 16) | 1ULL);
    EXPECT_GT(header.time_stamp(), 0);
    EXPECT_EQ(com::PbInternalMessageAdapter<pb::ModemHardware>().serialize({})->payload().size(), 18U);
}

TEST_F(Frame, ComesBackAndMayBeLongerThanItSays)
{
    auto frame = framed();
    frame.insert(frame.end(), {0xff, 0xff});
    com::PbInternalMessageAdapter<pb::BackendProxyStatus> adapter(7);
    const auto result = adapter.deserialize(com::Message(frame));
    ASSERT_TRUE(static_cast<bool>(result));
    EXPECT_EQ(result.value.status(), pb::BackendProxyStatus_Status_BACKEND_CONNECTED);
    EXPECT_EQ(adapter.protocol_type(), 1);
}

TEST_F(Frame, EveryFaultHasItsCode)
{
    LogCapture log;
    EXPECT_EQ(code_of({}), 1);
    EXPECT_TRUE(log.records().empty());
    EXPECT_EQ(code_of(com::Message::Payload(17)), 1);
    EXPECT_EQ(code_of(com::Message::Payload(18, 0xff)), 2);
    // The length word is little-endian behind the first tag byte; its third number is the length of the body,
    // one byte of which is behind the payload's end; the last byte is a number that does not end.
    for (const auto& [place, byte, code] : std::vector<std::array<std::uint8_t, 3>>{
             {1, 0, 3}, {3, 17, 4}, {5, 3, 5}, {8, 0xff, 5}, {19, 0x80, 5}}) {
        auto frame = framed();
        frame[place] = byte;
        EXPECT_EQ(code_of(frame), code) << int{place};
    }
    EXPECT_TRUE(log.contains(LogCapture::Level::EMERG, "Unable to deserialize protobuf"));
    auto frame = framed();
    frame.resize(18);
    frame[5] = 0;
    EXPECT_EQ(code_of(frame), 0); // an empty body
}

TEST_F(Frame, SignalsAreNamedByTheirTopicAndEmptyTextsAreNotSent)
{
    com::in_process::reset();
    auto client = com::create_client({}, com::TransportType::IN_PROCESS);
    utils::publish_rt_data_string(client, "rt/system/sim_iccid", "iccid", "");
    EXPECT_TRUE(utils::publish_rt_data_raw(client, "rt/system/modem_rssi", {0x13}));
    EXPECT_FALSE(utils::publish_rt_data_raw(nullptr, "rt/system/modem_rssi", {0x13}));
    com::in_process::settle(std::chrono::seconds(5));
    EXPECT_FALSE(com::in_process::last("rt/system/sim_iccid"));
    pb::SignalGroup group;
    const auto payload = com::in_process::last("rt/system/modem_rssi")->payload();
    ASSERT_TRUE(group.ParseFromArray(payload.data(), static_cast<int>(payload.size())));
    EXPECT_EQ(group.signal(0).name(), "modem_rssi");
    EXPECT_EQ(group.signal(0).data(), "\x13");
}
