#include <ecu/kova/rt/signal_adapter.hpp>
#include <ecu/pb/modem.pb.h>
#include <gtest/gtest.h>

namespace {

using namespace ecu::kova;

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
}

TEST(SignalGroups, GrowNoLargerThanAMessage)
{
    auto group = rt::SignalAdapter::instance().create_sg("rt/a");
    EXPECT_FALSE(group.set_signal_data("", {1}));
    EXPECT_FALSE(group.set_signal_data("a", rt::SignalData(65'520)));
    EXPECT_TRUE(group.set_signal_data("a", rt::SignalData(65'519))); // and its name, topic, tags and lengths
    EXPECT_TRUE(rt::SignalAdapter::instance().pack(group));
    EXPECT_TRUE(group.set_signal_data("a", rt::SignalData(60'000))); // in place of the first
    EXPECT_TRUE(group.set_signal_data("b", rt::SignalData(5'000)));
    EXPECT_FALSE(group.set_signal_data("c", rt::SignalData(1'000)));
    EXPECT_FALSE(rt::SignalAdapter::instance().pack(rt::SignalGroup("")));
    EXPECT_EQ(rt::SignalGroup("creg").default_signal_name(), "creg");

    pb::SignalGroup foreign; // of a program that knows no bound
    for (const auto& [topic_length, taken] :
         {std::pair{std::size_t{65'532}, true}, std::pair{std::size_t{65'533}, false}}) {
        foreign.set_topic(std::string(topic_length, 't')); // behind a tag and three bytes of length
        com::Message::Payload payload(foreign.ByteSizeLong());
        ASSERT_TRUE(foreign.SerializeToArray(payload.data(), static_cast<int>(payload.size())));
        EXPECT_EQ(static_cast<bool>(rt::SignalAdapter::instance().unpack(com::Message(payload))), taken)
            << payload.size();
    }
}

} // namespace
