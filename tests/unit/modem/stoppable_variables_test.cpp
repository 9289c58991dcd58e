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
    /// When each record that tells of the wait came, and the last of them.
    std::vector<std::chrono::minutes> told;
    std::string text;

    void await_until(std::chrono::minutes end, const std::string& value)
    {
        const auto begin = clock.now();
        for (auto minute = 0min; minute < end; ++minute) {
            clock.at(minute + 30s, [this, minute] { look(minute); });
        }
        clock.at(end, [this, value] { file->value = value; });
        EXPECT_EQ(variables.await("hwvariant"), value);
        EXPECT_GE(clock.now() - begin, end);
        EXPECT_LE(clock.now() - begin, end + 1s) << "taken as soon as it is there";
    }

    void look(std::chrono::minutes minute)
    {
        const auto records = log.records();
        for (const auto& record : records) {
            EXPECT_EQ(record.level, LogCapture::Level::WARNING);
            told.push_back(minute);
            text = record.text;
        }
        log.clear();
    }

    LogCapture log;
    ManualClock clock;
    std::shared_ptr<FileInVirtualTime> file = std::make_shared<FileInVirtualTime>(clock);
    bool stop = false;
    StoppableVariables variables{file, [this] { return stop; }, clock};
};

TEST_F(WaitForAVariable, IsToldAtOnceAndEveryHourWithItsReason)
{
    await_until(150min, "QBX2");
    EXPECT_EQ(told, (std::vector{0min, 60min, 120min}));
    EXPECT_EQ(text, "Waiting for 2 h for the ECU variable 'hwvariant': no hwvariant in the file");

    told.clear();
    file->value = ""; // as good as absent, and no reason to ask without a pause
    await_until(70min, "RMX1");
    EXPECT_EQ(told, (std::vector{0min, 60min}));
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
