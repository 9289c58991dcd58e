#include "observer.hpp"

#include <ecu/kova/com/in_process_bus.hpp>
#include <gmock/gmock.h>

#include <memory>

namespace {

using namespace ecu::kova::com;
using namespace std::chrono_literals;

class InProcessBus : public testing::Test {
protected:
    InProcessBus() { in_process::reset(); }

    std::shared_ptr<ITransportClient> client = create_client({}, TransportType::IN_PROCESS);
    std::shared_ptr<RecordingObserver> observer = std::make_shared<RecordingObserver>();
};

TEST_F(InProcessBus, DeliversToMatchingFiltersAndRetainedStateToLateSubscribers)
{
    EXPECT_TRUE(client->publish("system/modem/status", text_message("now", true)));
    EXPECT_TRUE(client->subscribe("system/+/status", observer));
    EXPECT_TRUE(client->subscribe("rt/#", observer));
    EXPECT_FALSE(client->subscribe("rt/#/creg", observer));
    EXPECT_FALSE(client->publish("rt/#", text_message("no topic")));
    in_process::publish("rt/system/blackout_mode", text_message("on"));
    in_process::publish("be/status", text_message("unasked for"));
    ASSERT_TRUE(in_process::settle(1h));
    EXPECT_THAT(observer->wait_for(2, 0s),
                testing::ElementsAre("system/modem/status kept: now", "rt/system/blackout_mode: on"));
    std::weak_ptr<RecordingObserver> gone = observer;
    observer.reset();
    EXPECT_TRUE(gone.expired()) << "a subscription must not keep its observer alive";
    in_process::publish("rt/system/blackout_mode", text_message("off"));
}

TEST_F(InProcessBus, ABusyClientHoldsUpNobodyAndMissesTheOldestOfTenThousand)
{
    std::promise<void> release;
    observer->on_message([&](const std::string& topic) {
        if (topic == "t/first") {
            release.get_future().wait();
        } else if (topic == "t/last") {
            client.reset(); // on its own thread
        }
    });
    client->subscribe("t/+", observer);
    in_process::publish("t/first", text_message("x"));
    ASSERT_EQ(observer->wait_for(1, 60s).size(), 1U);
    EXPECT_FALSE(in_process::settle(1ms)) << "it is under way still";
    in_process::publish("t/forgotten", text_message("x"));
    in_process::reset();
    for (int i = 0; i < 10'000; ++i) {
        in_process::publish("t/x", text_message(std::to_string(i)));
    }
    in_process::publish("t/last", text_message("x"));
    release.set_value();
    EXPECT_TRUE(in_process::settle(1h));
    const auto seen = observer->wait_for(10'001, 60s);
    ASSERT_EQ(seen.size(), 10'001U);
    EXPECT_EQ(seen[1], "t/x: 1");
}

} // namespace
