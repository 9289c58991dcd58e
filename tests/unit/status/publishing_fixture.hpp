#pragma once

#include "data/modem_data.hpp"
#include "support/log_capture.hpp"
#include "support/manual_clock.hpp"
#include "support/scripted_port.hpp"

#include <ecu/kova/com/in_process_bus.hpp>
#include <gtest/gtest.h>

#include <memory>

namespace bus = ecu::kova::com::in_process;

/// What a handler that publishes needs around it: a module, a record and a bus.
class PublishingFixture : public ::testing::Test {
protected:
    PublishingFixture()
    {
        bus::reset();
        static_cast<void>(port->start());
    }
    ~PublishingFixture() override { bus::set_outage(false); }

    static std::size_t published(const char* topic)
    {
        bus::settle(std::chrono::seconds(5));
        return bus::count(topic);
    }

    LogCapture log;
    ManualClock clock;
    std::shared_ptr<ScriptedPort> port = std::make_shared<ScriptedPort>(clock, ScriptedPort::Family::SARA);
    ModemData data;
    std::shared_ptr<ecu::kova::com::ITransportClient> client =
        ecu::kova::com::create_client({}, ecu::kova::com::TransportType::IN_PROCESS);
};
