#include "at/registration_lines.hpp"
#include "data/modem_data.hpp"

#include <gtest/gtest.h>

#include <sstream>

using registration::Domain;

namespace {

/// What the record says behind a report: the statuses and which decides, the technology, and the place in
/// hexadecimal.
std::string heard(ModemData& data, const std::string& line)
{
    for (const Domain domain : {Domain::CS, Domain::PS, Domain::EPS}) {
        if (const auto update = registration::parse_urc(domain, line)) {
            data.apply(domain, *update);
        }
    }
    const auto& network = data.nw_reg;
    std::ostringstream text;
    text << network.c_reg << ',' << network.cg_reg << ',' << network.ce_reg << " -> "
         << network.deciding_status() << (network.is_registered() ? " registered" : "")
         << (network.packet_domain_usable() ? " usable" : "") << ": " << network.rat << std::hex << ' '
         << data.location.area_c << ' ' << data.location.cell_id << ' ' << data.location.r_ac;
    return text.str();
}

} // namespace

TEST(ModemDataTest, ARegisteredDomainThatKnowsIsNotOverriddenByOneThatIsNot)
{
    ModemData data;
    const std::pair<const char*, const char*> lines[] = {
        {"+CREG: 2", "2,4,4 -> 2: 255 0 0 0"},
        // nobody is registered: the latest news
        {R"(+CREG: 2,"AA","1",0)", "2,4,4 -> 2: 0 aa 1 0"},
        {R"(+CGREG: 8,"BB","2",3,"5")", "2,8,4 -> 2: 3 bb 2 5"},
        {R"(+CGREG: 1,"1A2B","01C3",2,"3")", "2,1,4 -> 1 usable: 2 1a2b 1c3 3"},
        {"+CGREG: 5", "2,5,4 -> 5 usable: 2 1a2b 1c3 3"}, // a short form keeps the place,
        {R"(+CREG: 0,"FF","FF",0)", "0,5,4 -> 5 usable: 2 1a2b 1c3 3"},
        // the old technology is not this cell's
        {R"(+CGREG: 1,"1A2C","01C4",)", "0,1,4 -> 1 usable: 255 1a2c 1c4 0"},
        {R"(+CREG: 2,"AA","1",0)", "2,1,4 -> 1 usable: 255 1a2c 1c4 0"},
        // EPS tells before GPRS, and that before circuit-switched, as far as they know
        {R"(+CREG: 6,"AB","2",6)", "6,1,4 -> 6 registered usable: 6 1a2c 1c4 0"},
        {R"(+CEREG: 9,"1A2D","01C5",255)", "6,1,9 -> 6 registered usable: 6 1a2d 1c5 0"},
        {R"(+CEREG: 10,"1A2D","01C5",7)", "6,1,10 -> 6 registered usable: 7 1a2d 1c5 0"},
        {R"(+CEREG: 1,"1A2E")", "6,1,1 -> 6 registered usable: 7 1a2e 1c5 0"},
        {"+CGREG: 3", "6,3,1 -> 6 registered usable: 7 1a2e 1c5 0"},
        {"+CREG: 3", "3,3,1 -> 1 usable: 7 1a2e 1c5 0"},
        {"+CREG: 7", "7,3,1 -> 7 registered usable: 7 1a2e 1c5 0"},
        {R"(+CEREG: 2,"","")", "7,3,2 -> 7 registered: 6 ab 2 0"},
        {R"(+CREG: 3,"","")", "3,3,2 -> 3: 6 0 0 0"}, // an empty place clears it
    };
    for (const auto& [line, record] : lines) {
        EXPECT_EQ(heard(data, line), record) << line;
    }
    data.operator_data = {"26201", "Home", "SIM"};
    data.module.imei = "490154203237518";
    data.antenna.signal_quality(defs::SignalQuality::BELOW_57);
    EXPECT_EQ(data.antenna.signal_quality(), defs::SignalQuality::BELOW_57);
    data.antenna.rssi(20);
    data.antenna.forget();
    EXPECT_EQ(data.antenna.signal_quality(), defs::SignalQuality::UNKNOWN);
    EXPECT_EQ(data.antenna.rssi(), -1);
    data.reset();
    EXPECT_EQ(data.operator_data.id + data.operator_data.name + data.operator_data.sim_n, "");
    EXPECT_EQ(data.module.imei, "490154203237518");
    EXPECT_EQ(heard(data, "+CGREG: 1"),
              "4,1,4 -> 1 usable: 255 0 0 0"); // what the old cell was is forgotten too
}
