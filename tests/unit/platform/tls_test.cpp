#include "broker.hpp"
#include "observer.hpp"
#include "support/temp_root.hpp"

#include <ecu/kova/com/transport_client.hpp>
#include <gmock/gmock.h>

#include <cstdlib>

namespace {

using namespace ecu::kova;
using namespace ecu::kova::com;
using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr auto PATIENCE = 30s; // no more than a hung test costs

/// A broker that wants certificates, made by the openssl program for each case: no key is kept in the
/// sources.
class Tls : public testing::Test {
protected:
    void make_authority(const std::string& name) const
    {
        openssl("req -x509 " + new_key(name) + " -subj /CN=" + name + " -out " + file(name, ".pem"));
    }
    /// `days` until it expires; negative: it has.
    void make(const std::string& name, int days = 1) const
    {
        openssl("req " + new_key(name) + " -subj /CN=" + name + " -addext subjectAltName=IP:127.0.0.1 -out " +
                file(name, ".csr"));
        openssl("x509 -req -copy_extensions copy -CAcreateserial -in " + file(name, ".csr") + " -CA " +
                file("authority", ".pem") + " -CAkey " + file("authority", ".key") +
                " -days=" + std::to_string(days) + " -out " + file(name, ".pem"));
    }
    void start_broker(const std::string& name)
    {
        root_.write("/broker.conf",
                    "user root\nallow_anonymous true\nlistener " + std::to_string(broker_.port()) +
                        " 127.0.0.1\nrequire_certificate true\ncafile " + file("authority", ".pem") +
                        "\ncertfile " + file(name, ".pem") + "\nkeyfile " + file(name, ".key") + '\n');
        broker_.start(root_.path("/broker.conf"));
    }

    /// What keeps a client from its connection; nothing when it gets one.
    std::string failure(const std::string& authority, const std::string& identity = {}) const
    {
        config::Configuration configuration;
        configuration.set("host", "127.0.0.1");
        configuration.set("port", std::to_string(broker_.port()));
        configuration.set("client_name", "daemon");
        configuration.set("bus.cafile", "/" + authority + ".pem");
        if (!identity.empty()) {
            configuration.set("bus.certfile", "/" + identity + ".pem");
            configuration.set("bus.keyfile", "/" + identity + ".key");
        }
        const auto client = create_client(configuration, TransportType::MQTT);
        EXPECT_TRUE(eventually(
            [&] { return client->is_connected() || client->connection_failure().has_value(); }, PATIENCE));
        return client->is_connected() ? "" : client->connection_failure().value().reason;
    }

private:
    std::string file(const std::string& name, const std::string& ending) const
    {
        return root_.path("/" + name + ending).string();
    }
    std::string new_key(const std::string& name) const
    {
        return "-newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout " + file(name, ".key");
    }
    void openssl(const std::string& words) const
    {
        const auto command = "openssl " + words + " >>" + file("openssl", ".log") + " 2>&1";
        if (std::system(command.c_str()) != 0) {
            throw std::runtime_error(command + '\n' + root_.read("/openssl.log"));
        }
    }

    TempRoot root_;
    Broker broker_;
};

TEST_F(Tls, ConnectsWithTheRightCertificatesOnly)
{
    make_authority("authority");
    make_authority("stranger");
    make("unit");
    make("broker");
    make("old", -1);
    start_broker("broker");
    EXPECT_EQ(failure("authority", "unit"), "");
    EXPECT_THAT(failure("stranger", "unit"), HasSubstr("certificate verify failed"));
    EXPECT_THAT(failure("authority", ""), testing::Not("")) << "the broker wants one";
    start_broker("old");
    EXPECT_THAT(failure("authority", "unit"), HasSubstr("certificate verify failed"));
}

} // namespace
