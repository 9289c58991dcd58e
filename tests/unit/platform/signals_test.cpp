#include <ecu/kova/rt/signal_adapter.hpp>
#include <gtest/gtest.h>

namespace {

using namespace ecu::kova;

TEST(SignalGroups, CarryNamesAndBytesOverTheBus)
{
    auto group = rt::SignalAdapter::instance().create_sg("rt/system/modem_creg");
    EXPECT_EQ(group.default_signal_name(), "modem_creg");
    ASSERT_TRUE(group.set_signal_data("modem_creg", {5}));
    ASSERT_TRUE(group.set_signal_data("text", {0, 0xff, 'x'}));
    const auto packed = rt::SignalAdapter::instance().pack(group);
    ASSERT_TRUE(packed);
    EXPECT_GT(packed.value().time_stamp_ns(), 0);

    const auto unpacked = rt::SignalAdapter::instance().unpack(packed.value());
    ASSERT_TRUE(unpacked) << unpacked.error();
    EXPECT_EQ(unpacked.value().topic(), "rt/system/modem_creg");
    EXPECT_EQ(unpacked.value().signal("modem_creg"), rt::SignalData({5}));
    EXPECT_EQ(unpacked.value().signals().size(), 2U);
    EXPECT_FALSE(unpacked.value().signal("blackout_mode"));
}

TEST(SignalGroups, AGroupCutAnywhereIsRefusedOrHoldsOnlyWholeSignals)
{
    auto group = rt::SignalAdapter::instance().create_sg("rt/a");
    ASSERT_TRUE(group.set_signal_data("a", {1, 2, 3}));
    const auto whole = rt::SignalAdapter::instance().pack(group).value().payload();
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const com::Message::Payload cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
        const auto unpacked = rt::SignalAdapter::instance().unpack(com::Message(cut));
        EXPECT_TRUE(!unpacked || unpacked.value().signals().empty()) << length;
    }
    EXPECT_FALSE(rt::SignalAdapter::instance().unpack(com::Message(com::Message::Payload(70'000, 0x0a))));
}

TEST(SignalGroups, GrowNoLargerThanAMessage)
{
    auto group = rt::SignalAdapter::instance().create_sg("rt/a");
    EXPECT_FALSE(group.set_signal_data("", {1}));
    EXPECT_TRUE(group.set_signal_data("a", rt::SignalData(60'000)));
    EXPECT_TRUE(group.set_signal_data("a", rt::SignalData(60'001))); // in place of the first
    EXPECT_FALSE(group.set_signal_data("b", rt::SignalData(6'000)));
    EXPECT_TRUE(rt::SignalAdapter::instance().pack(group));
}

} // namespace
