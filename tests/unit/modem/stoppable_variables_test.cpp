#include "modem/stoppable_variables.hpp"
#include "support/log_capture.hpp"
#include "support/manual_clock.hpp"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

/// A unit's file in virtual time: what is absent is waited for, what is empty is answered at once.
class FileInVirtualTime final : public ecu::kova::var::VariablesClient {
public:
    explicit FileInVirtualTime(ManualClock& clock) : clock_(clock) {}

    std::string get(const std::string&, const std::string& fallback,
                    std::chrono::milliseconds timeout) override
    {
        if (value) {
            return *value;
        }
        clock_.advance(timeout);
        return value.value_or(fallback);
    }
    std::string absence(const std::string& name) override { return "no " + name + " in the file"; }

    std::optional<std::string> value;

private:
    ManualClock& clock_;
};

class WaitForAVariable : public ::testing::Test {
protected:
    /// How often the wait is told of until the value is there.
    std::size_t told_until(std::chrono::minutes end, const std::string& value)
    {
        log.clear();
        const auto begin = clock.now();
        clock.at(1min, [this] { EXPECT_EQ(log.records().size(), 1U) << "at once"; });
        clock.at(end, [this, value] { file->value = value; });
        EXPECT_EQ(variables.await("hwvariant"), value);
        EXPECT_GE(clock.now() - begin, end);
        EXPECT_LE(clock.now() - begin, end + 1s) << "taken as soon as it is there";
        return log.records().size();
    }

    LogCapture log;
    ManualClock clock;
    std::shared_ptr<FileInVirtualTime> file = std::make_shared<FileInVirtualTime>(clock);
    bool stop = false;
    StoppableVariables variables{file, [this] { return stop; }, clock};
};

TEST_F(WaitForAVariable, IsToldAtOnceAndEveryHourWithItsReason)
{
    EXPECT_EQ(told_until(150min, "QBX2"), 3U);
    EXPECT_TRUE(log.contains(LogCapture::Level::WARNING, "Waiting for 2 h for the ECU variable 'hwvariant': "
                                                         "no hwvariant in the file"));
    file->value = ""; // as good as absent, and no reason to ask without a pause
    EXPECT_EQ(told_until(70min, "RMX1"), 2U);
}

TEST_F(WaitForAVariable, IsToldOnceWhereItEndsAndNotAtAllWhereThereIsNone)
{
    const auto begin = clock.now();
    EXPECT_EQ(variables.get("hwversion", "qbx", 60s), "qbx");
    EXPECT_EQ(clock.now() - begin, 60s);
    EXPECT_EQ(log.records().size(), 1U) << log;
    EXPECT_TRUE(
        log.contains(LogCapture::Level::NOTICE,
                     "Waiting up to 60 s for the ECU variable 'hwversion': no hwversion in the file"));
    log.clear();

    EXPECT_EQ(variables.get("hwversion", "qbx", 0s), "qbx");
    stop = true;
    EXPECT_EQ(variables.await("hwvariant"), "");
    file->value = "QBX2";
    EXPECT_EQ(variables.await("hwvariant"), "QBX2");
    EXPECT_EQ(clock.now() - begin, 60s);
    EXPECT_EQ(log.records().size(), 0U) << log;
}

} // namespace
