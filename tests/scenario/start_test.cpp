#include "scenario/rig.hpp"

#include <fcntl.h>
#include <sys/file.h>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

/// From supply off to a connection and back, twice: the module comes with its factory settings.
class SupplyOffToConnected : public Rig {
protected:
    void boots_twice(const Unit& unit, const std::string& model)
    {
        connect(unit);
        EXPECT_EQ(resets(), 1) << "the one that the new settings need";
        EXPECT_TRUE(supply());
        ends_cleanly();
        finds_the_last_state(model);

        bus().skip_statuses();
        start_celld(); // the module has kept its settings
        await_state(CONNECTED);
        EXPECT_EQ(resets(), 0);
        ends_cleanly();
    }

private:
    void ends_cleanly()
    {
        const int before = commands("+CPWROFF");
        EXPECT_EQ(terminate(), 0);
        EXPECT_EQ(commands("+CPWROFF"), before + 1);
        EXPECT_FALSE(supply());
    }

    void finds_the_last_state(const std::string& model)
    {
        const BusProbe late(port(), "late");
        std::optional<pb::ModemStatus> status;
        std::optional<pb::ModemHardware> hardware;
        std::optional<pb::ModemSimInformation> cards;
        std::optional<pb::ModemRegistration> registration;
        await("what the broker keeps", [&] {
            status = late.newest<pb::ModemStatus>("system/modem/status", true);
            hardware = late.newest<pb::ModemHardware>("system/modem/hardware", true);
            cards = late.newest<pb::ModemSimInformation>("system/modem/sim", true);
            registration = late.newest<pb::ModemRegistration>("system/modem/registration", true);
            return status && hardware && cards && registration;
        });
        EXPECT_EQ(status->state(), DISABLED);
        EXPECT_THAT(hardware->model(), StartsWith(model));
        EXPECT_EQ(hardware->imei().size(), 15U);
        EXPECT_EQ(cards->sim_size(), 2);
        EXPECT_EQ(registration->registration_status(), pb::ModemRegistration_RegistrationStatus_UNKNOWN);
    }
};

TEST_F(SupplyOffToConnected, Sara)
{
    boots_twice({}, "SARA");
}

TEST_F(SupplyOffToConnected, TobyOnK7)
{
    boots_twice({.board = "k7", .module = {"--family=toby"}}, "TOBY");
}

TEST_F(SupplyOffToConnected, TobyOnK7WhosePortStaysWhileItRestarts)
{
    boots_twice({.board = "k7", .module = {"--family=toby", "--no-port-loss-on-reset"}}, "TOBY");
}

/// One step and out, the module left on.
class OneShot : public Rig {
protected:
    void SetUp() override
    {
        plug({});
        start_broker();
    }

    void run(const std::string& word)
    {
        start_celld({word});
        EXPECT_EQ(await_exit(), 0) << word;
        EXPECT_EQ(said("celld will only '" + word + "' the modem and exit."), 1);
        EXPECT_TRUE(supply()) << word;
    }
};

TEST_F(OneShot, PoweronAndInitEndWithTheModuleOn)
{
    run("poweron");
    EXPECT_THAT(journal(), IsEmpty());
    run("init");
    EXPECT_GT(commands("+CMEE=2"), 0) << "set-up is through";
    EXPECT_EQ(commands("+CPIN?"), 0) << "no SIM was asked";
}

TEST_F(OneShot, ConfigureAndConnectEndWithTheModuleOn)
{
    run("configure");
    EXPECT_GT(commands("+CGDCONT="), 0) << "the context is set up";
    EXPECT_EQ(commands("+UCEDATA="), 0) << "and not activated";
    run("connect");
    EXPECT_THAT(sim("state"), HasSubstr("contexts=1:1"));
}

TEST_F(OneShot, PoweroffWaitsForItsSignalAndNeverSwitchesOn)
{
    start_celld({"poweroff"});
    await_state(DISABLED);
    await_more_statuses(2);
    configure("loglevel = INFO\nlogmodules = celld.main\n");
    celld().signal(SIGHUP);
    await("new log settings", [this] { return said("log level INFO, log modules celld.main;") == 1; });
    EXPECT_EQ(terminate(), 0);
    EXPECT_FALSE(supply());
    EXPECT_THAT(root().read("/sim.log"), Not(HasSubstr("module up")));
}

TEST_F(OneShot, ASecondSignalEndsAPowerOffThatTakesTooLong)
{
    start_celld();
    await("the end of set-up", [this] { return commands("+CMEE=2") > 0; });
    sim("silent +CPWROFF");
    const int before = commands("+CPWROFF");
    celld().signal(SIGTERM);
    await("the power-off", [&] { return commands("+CPWROFF") > before; });
    EXPECT_EQ(terminate(), -SIGTERM);
}

class BadConfiguration : public Rig {
protected:
    /// What celld says behind its version.
    std::string refuses(const std::string& settings)
    {
        configure(settings);
        start_celld();
        EXPECT_EQ(await_exit(), 1);
        return log().substr(log().find('\n') + 1);
    }
};

TEST_F(BadConfiguration, IsNamedBeforeTheModuleIsTouched)
{
    plug({});
    // The fifth line of the file, behind those of the bench.
    const auto line = refuses("a line that says nothing\n");
    EXPECT_THAT(line, AllOf(HasSubstr("/etc/vexa/celld.conf"), HasSubstr("5")));
    EXPECT_EQ(line.find('\n'), line.size() - 1) << line;
    EXPECT_THAT(refuses("port = 70000\n"),
                AllOf(HasSubstr("port"), HasSubstr("Unable to verify Configuration.")));
    const int lock = open(root().path("/run/celld.lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_EQ(flock(lock, LOCK_EX), 0);
    const auto refusal = refuses("");
    EXPECT_THAT(refusal, AllOf(StartsWith("celld: another celld is running"), HasSubstr("/run/celld.lock")));
    EXPECT_EQ(refusal.find('\n'), refusal.size() - 1) << refusal;
    EXPECT_FALSE(root().exists("/sys/class/gpio/gpio3")) << "a line was exported";
    close(lock);
}

} // namespace
