#include "brokers.hpp"
#include "unit/celldctl/frames.hpp"

#include <gmock/gmock.h>

namespace com = ecu::kova::com;
namespace pb = ecu::kova::pb;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

constexpr auto PATIENCE = FleetBrokers::PATIENCE;

com::Message status(pb::ModemStatus::ModemState state)
{
    return frame_of(status_in(state), true);
}

/// The program itself, at the central broker.
class FleetClient : public testing::Test {
protected:
    FleetClient()
    {
        brokers.certificate("unit truck-17");
        brokers.certificate("operator fleet");
        brokers.start_central();
    }

    std::vector<std::string> command(const std::vector<std::string>& words,
                                     bool with_certificate = true) const
    {
        const auto folder = brokers.folder();
        std::vector<std::string> all{CELLDCTL, "-h", "localhost", "--cafile", folder + "/central-ca.crt"};
        all.insert(all.end(), {"-p", std::to_string(brokers.operators_port())});
        if (with_certificate) {
            all.insert(all.end(), {"--cert", folder + "/fleet.crt", "--key", folder + "/fleet.key"});
        }
        all.insert(all.end(), words.begin(), words.end());
        return all;
    }
    Outcome run(const std::vector<std::string>& words, bool with_certificate = true) const
    {
        return run_program(brokers.root, command(words, with_certificate));
    }

    /// What the exporter answers, head and body.
    std::string ask(int port, const std::string& request) const
    {
        const auto dialogue = "exec 3<>/dev/tcp/127.0.0.1/" + std::to_string(port) +
                              " && printf '%s' \"$0\" >&3 && exec cat <&3";
        return run_program(brokers.root, {"/bin/bash", "-c", dialogue, request}).said;
    }
    std::string get(int port, const std::string& path) const
    {
        return ask(port, "GET " + path + " HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
    }
    bool comes(int port, const std::string& sample) const
    {
        return eventually(
            [&] { return get(port, "/metrics").find("\n" + sample + "\n") != std::string::npos; }, PATIENCE);
    }

    FleetBrokers brokers;
};

} // namespace

TEST_F(FleetClient, ShowsAllUnitsAndTellsEachChangeOnAPipe)
{
    const auto nobody = run({"fleet", "--once"});
    EXPECT_EQ(nobody.status, 1);
    EXPECT_THAT(nobody.said, HasSubstr("no unit has reported"));
    EXPECT_EQ(run({"fleet", "--filter", "sate=x"}).status, 2);

    const auto truck = brokers.as_unit("truck-17", "truck-17");
    truck->publish("units/truck-17/system/modem/status", status(pb::ModemStatus::SEARCHING));
    ASSERT_TRUE(truck->flush(PATIENCE));
    Child pipe;
    const auto lines = [&] { return brokers.root.read("/lines"); };
    pipe.start(command({"fleet", "--filter", "unit=truck-*"}), brokers.root.path("/lines"));
    ASSERT_TRUE(eventually([&] { return lines().find("truck-17") != std::string::npos; }, PATIENCE))
        << lines();
    EXPECT_THAT(run({"fleet", "--once", "--filter", "state=searching"}).said,
                testing::AllOf(HasSubstr("\ntruck-17 "), testing::EndsWith("1 unit: 1 SEARCHING\n")));
    brokers.stop_central();
    ASSERT_TRUE(eventually([&] { return lines().find("lost to localhost") != std::string::npos; }, PATIENCE));
    truck->publish("units/truck-17/system/modem/status", status(pb::ModemStatus::CONNECTED));
    brokers.start_central();
    ASSERT_TRUE(eventually([&] { return lines().find("CONNECTED  (SEARCHING lasted") != std::string::npos; },
                           PATIENCE))
        << lines();
    pipe.signal(SIGTERM);
    ASSERT_TRUE(eventually([&] { return !pipe.running(); }, PATIENCE));
    EXPECT_EQ(pipe.result(), 0);
}

TEST_F(FleetClient, SeesOneUnitFromAfarAndWhetherItsBridgeIsUp)
{
    brokers.start_unit("truck-17");
    const auto daemon = brokers.on_the_unit();
    daemon->publish("system/modem/status", status(pb::ModemStatus::CONNECTED));
    ASSERT_TRUE(daemon->flush(PATIENCE));
    const std::vector<std::string> ask{"--unit", "truck-17", "status"};
    EXPECT_TRUE(eventually([&] { return run(ask).status == 0; }, PATIENCE)) << run(ask).said;
    EXPECT_EQ(run({"status"}).status, 1) << "another unit's state is not that of none";
    EXPECT_EQ(run({"status", "--unit", "truck-1"}).status, 1);
    EXPECT_THAT(run({"monitor", "--unit", "truck-17", "--timeout", "2"}).said,
                testing::AllOf(HasSubstr("system/modem/status "), HasSubstr("bridge=up")));
    EXPECT_THAT(run({"--unit", "truck-17", "doctor"}).said,
                testing::AllOf(HasSubstr("the modem is CONNECTED"), Not(HasSubstr("celld.conf"))));

    brokers.stop_unit();
    EXPECT_TRUE(eventually([&] { return run(ask).status == 1; }, PATIENCE));
    EXPECT_THAT(run(ask).said, testing::AllOf(HasSubstr("CONNECTED"), HasSubstr("its bridge is down")));

    const auto anonymous = run({"status"}, false);
    EXPECT_EQ(anonymous.status, 3);
    EXPECT_THAT(anonymous.said, HasSubstr("Does it want a certificate (--cert, --key)?"));
}

TEST_F(FleetClient, ExportsMetricsWhetherTheBrokerIsThereOrNot)
{
    brokers.stop_central();
    const int port = free_port();
    const auto listen = "127.0.0.1:" + std::to_string(port);
    Child exporter;
    exporter.start(command({"exporter", "--listen", listen}), brokers.root.path("/exporter"));
    ASSERT_TRUE(comes(port, "celld_exporter_broker_connected 0"));
    const auto second = run({"exporter", "--listen", listen});
    EXPECT_EQ(second.status, 7);
    EXPECT_THAT(second.said, HasSubstr("cannot listen at " + listen + ": Address already in use"));

    brokers.start_central();
    const auto truck = brokers.as_unit("truck-17", "truck-17");
    truck->publish("units/truck-17/system/modem/status", status(pb::ModemStatus::CONNECTED));
    ASSERT_TRUE(comes(port, "celld_exporter_broker_connected 1"));
    ASSERT_TRUE(comes(port, R"(celld_state{unit="truck-17",state="CONNECTED"} 1)"));
    EXPECT_THAT(get(port, "/metrics"), testing::AllOf(StartsWith("HTTP/1.1 200"),
                                                      HasSubstr("Content-Type: text/plain; version=0.0.4")));
    EXPECT_THAT(get(port, "/"), HasSubstr("/metrics"));
    EXPECT_THAT(get(port, "/metrics/x"), StartsWith("HTTP/1.1 404"));
    EXPECT_THAT(
        ask(port, "POST /metrics HTTP/1.1\r\nHost: x\r\nContent-Length: 2\r\nConnection: close\r\n\r\nhi"),
        StartsWith("HTTP/1.1 405"));
    EXPECT_THAT(get(port, "/" + std::string(100'000, 'x')), Not(StartsWith("HTTP/1.1 200")));

    brokers.stop_central();
    ASSERT_TRUE(comes(port, "celld_exporter_broker_connected 0"));
    EXPECT_THAT(get(port, "/metrics"), HasSubstr(R"(celld_state{unit="truck-17",state="CONNECTED"} 1)"));
    exporter.signal(SIGTERM);
    ASSERT_TRUE(eventually([&] { return !exporter.running(); }, PATIENCE));
    EXPECT_EQ(exporter.result(), 0);
    EXPECT_THAT(brokers.root.read("/exporter"), StartsWith("http://" + listen + "/metrics\n"));
    for (const auto* const wrong : {"", "9818", "127.0.0.1", "127.0.0.1:", "::1:80", "localhost:80",
                                    "127.0.0.1:65536", "127.0.0.1:x"}) {
        EXPECT_EQ(run({"exporter", "--listen", wrong}).status, 2) << wrong;
    }
}
