#pragma once

#include "bus/message_adapter.hpp"
#include "main/configuration_defaults.hpp"
#include "modem/modem.hpp"
#include "support/log_capture.hpp"
#include "support/manual_clock.hpp"
#include "support/scripted_port.hpp"
#include "support/temp_root.hpp"

#include <ecu/kova/com/in_process_bus.hpp>
#include <ecu/kova/rt/signal_adapter.hpp>
#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace pb = ecu::kova::pb;
namespace bus = ecu::kova::com::in_process;

/// A whole modem on a scripted port, a board of plain files and an in-process bus, in virtual time.
class ModemFixture : public ::testing::Test {
protected:
    using State = Modem::State;
    using Action = Modem::RunAction;

    using MakePort = std::shared_ptr<ScriptedPort> (*)(ManualClock&, ScriptedPort::Family, const TempRoot&);

    static std::shared_ptr<ScriptedPort> scripted(ManualClock& clock, ScriptedPort::Family family,
                                                  const TempRoot&)
    {
        return std::make_shared<ScriptedPort>(clock, family);
    }

    explicit ModemFixture(ScriptedPort::Family family = ScriptedPort::Family::SARA,
                          MakePort make_port = scripted)
        : module_ptr(make_port(clock, family, root)), module(*module_ptr)
    {
        bus::reset();
        root.write("/etc/vexa/ecu_variables.conf", "hwvariant = QBX2\nmodemtype = SARA\nhasintsim = true\n"
                                                   "hasextsim = true\ndivantenna = NONE\nhwversion = qbx\n");
        root.write("/etc/vexa/system_parameters.conf", "41024 = 10\n41025 = 100\n");
        for (const char* gpio : {"3", "144", "145"}) {
            pin(gpio, "0", "out");
        }
        pin(SIM_LOCK, "1", "in"); // low active: the internal SIM
        pin(VINT, "1", "in");     // gone
        settings->set("sim.internal.apn", "internet");
        settings->set("sim.external.apn", "internet");
        settings->set("antenna.frequency", "100000000"); // its thread sleeps, unless a test wakes it
    }

    ~ModemFixture() override
    {
        end();
        bus::set_outage(false);
    }

    Modem& modem()
    {
        if (!modem_) {
            begin();
        }
        return *modem_;
    }
    void begin(const std::function<bool()>& stop_seen = {})
    {
        register_defaults(*settings);
        modem_ = std::make_unique<Modem>(std::move(settings), module_ptr, clock, transport);
        modem_->init(stop_seen);
    }

    /// Nothing is left of it but what it wrote.
    void end()
    {
        module.interrupt(); // no time passes any more for an answer that is waited for
        modem_.reset();
    }

    /// Passes, each with its rest, until `duration` has passed or the loop wants to leave.
    void run_for(std::chrono::milliseconds duration)
    {
        const auto end = clock.now() + duration;
        while (clock.now() < end && !left) {
            step();
        }
    }

    void step()
    {
        const auto wanted = modem().pass();
        left = wanted.leave;
        modem().rest(wanted);
    }

    /// The way up, until the state is reached; fails the test when it is not within ten minutes.
    void run_until(State wanted)
    {
        const auto end = clock.now() + std::chrono::minutes(10);
        while (state() != wanted && clock.now() < end && !left) {
            step();
        }
        ASSERT_EQ(Modem::state_to_str(state()), Modem::state_to_str(wanted)) << log;
    }

    State state() { return modem().state(); }

    /// The status that a late subscriber would see.
    static pb::ModemStatus published()
    {
        if (const auto message = bus::retained("system/modem/status")) {
            if (auto status =
                    ecu::kova::com::PbInternalMessageAdapter<pb::ModemStatus>().deserialize(*message)) {
                return std::move(status.value);
            }
        }
        return {};
    }

    void backend(bool connected)
    {
        pb::BackendProxyStatus status;
        status.set_status(connected ? pb::BackendProxyStatus_Status_BACKEND_CONNECTED
                                    : pb::BackendProxyStatus_Status_BACKEND_DISCONNECTED);
        modem().message(
            "be/status",
            *ecu::kova::com::PbInternalMessageAdapter<pb::BackendProxyStatus>().serialize(status));
    }

    void blackout(std::vector<std::uint8_t> value)
    {
        auto& adapter = ecu::kova::rt::SignalAdapter::instance();
        auto group = adapter.create_sg("rt/system/blackout_mode");
        ASSERT_TRUE(static_cast<bool>(group.set_signal_data("blackout_mode", std::move(value))));
        modem().message("rt/system/blackout_mode", adapter.pack(group).value());
    }

    void pin(const std::string& gpio, const std::string& value, const std::string& direction) const
    {
        const std::string path = "/sys/class/gpio/gpio" + gpio;
        root.write(path + "/value", value + "\n");
        root.write(path + "/direction", direction + "\n");
    }
    std::string level(const std::string& gpio) const
    {
        return root.read("/sys/class/gpio/gpio" + gpio + "/value");
    }

    static constexpr const char* VCC = "3";
    static constexpr const char* SIM_LOCK = "142";
    static constexpr const char* VINT = "9";

    TempRoot root;
    LogCapture log;
    ManualClock clock;
    std::shared_ptr<ScriptedPort> module_ptr;
    ScriptedPort& module;
    std::unique_ptr<ecu::kova::config::Configuration> settings =
        std::make_unique<ecu::kova::config::Configuration>();
    ecu::kova::com::TransportType transport = ecu::kova::com::TransportType::IN_PROCESS;
    bool left = false;

private:
    std::unique_ptr<Modem> modem_;
};
