#include "gpio/gpio_ctrl.hpp"

#include "gpio/gpio_ctrl_ublox_k7.hpp"
#include "gpio/gpio_ctrl_ublox_qbx_rmx.hpp"
#include "utils/strings.hpp"
#include "utils/words.hpp"

#include <ecu/kova/logging.hpp>
#include <ecu/kova/root.hpp>

#include <array>
#include <cerrno>
#include <fstream>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

const ecu::kova::logging::Module& LOG = ecu::kova::logging::module("celld.gpioctrl");

constexpr const char* EXPORT_PATH = "/sys/class/gpio/export";
constexpr auto UDEV_PAUSE = 2s;  // until udev has made the attribute files and set their owner
constexpr std::size_t ROOM = 64; // bytes; an attribute has a word
constexpr std::array HARDWARE_VERSIONS{"k7", "qbx", "rmx"};
constexpr auto HWVERSION_TIMEOUT = 60'000ms;

bool read_word(const std::string& path, std::string& word)
{
    errno = 0;
    std::array<char, ROOM> room; // in place of 8 kB from the heap, each two seconds
    std::ifstream file;
    file.rdbuf()->pubsetbuf(room.data(), room.size());
    file.open(ecu::kova::rooted(path));
    if (!file) {
        const auto reason = utils::errno_text("The system says of " + path);
        LOG.error("failed to read file: ", path);
        LOG.notice(reason);
        return false;
    }
    file >> word;
    LOG.debug("Read '", word, "' from file: ", path);
    return true;
}

bool write_text(const std::string& path, const std::string& text)
{
    errno = 0;
    std::ofstream file(ecu::kova::rooted(path), std::ios::trunc);
    if (!file) {
        const auto reason = utils::errno_text("The system says of " + path);
        LOG.error("File ", path, " couldn't be open.");
        LOG.notice(reason);
        return false;
    }
    LOG.debug("Write '", text, "' to ", path);
    file << text << '\n' << std::flush;
    if (!file) {
        const auto reason = utils::errno_text("The system says of " + path);
        LOG.error("failed to write '", text, "' to file: ", path);
        LOG.notice(reason);
        return false;
    }
    LOG.debug("'", text, "' written to file ", path);
    return true;
}

} // namespace

GpioCtrl::Gpio::Gpio(unsigned short number, Direction direction)
    : number_(number), direction_(direction), value_path_(path("/value")), direction_path_(path("/direction"))
{
}

std::string GpioCtrl::Gpio::path(const char* suffix) const
{
    return "/sys/class/gpio/gpio" + std::to_string(number_) + suffix;
}

std::string GpioCtrl::Gpio::value() const
{
    std::string text;
    return read_word(value_path_, text) ? text : std::string();
}

bool GpioCtrl::Gpio::value(const std::string& text) const
{
    return write_text(value_path_, text);
}

const char* GpioCtrl::Gpio::direction_text() const
{
    switch (direction_) {
    case Direction::IN:
        return "in";
    case Direction::OUT_HIGH:
        return "high";
    case Direction::OUT_LOW:
        return "low";
    case Direction::OUT:
        break;
    }
    return "out";
}

std::shared_ptr<GpioCtrl> GpioCtrl::create(const std::shared_ptr<ecu::kova::var::VariablesClient>& variables,
                                           Clock& clock)
{
    const std::string version = variables->get("hwversion", "qbx", HWVERSION_TIMEOUT);
    utils::warn_of_unknown(LOG, "ECU variable hwversion", version, HARDWARE_VERSIONS);
    return of_version(version, clock);
}

utils::Words GpioCtrl::hardware_versions()
{
    return HARDWARE_VERSIONS;
}

std::shared_ptr<GpioCtrl> GpioCtrl::of_version(const std::string& version, Clock& clock)
{
    if (version == "k7") {
        LOG.notice("Use K7 GpioCtrl");
        return std::make_shared<GpioCtrlUbloxK7>(clock);
    }
    LOG.notice("Use QBX/RMX GpioCtrl");
    return std::make_shared<GpioCtrlUbloxQbxRmx>(clock);
}

bool GpioCtrl::init()
{
    LOG.debug("Export GPIOs");
    if (!export_pins()) {
        return false;
    }
    clock_.sleep_for(UDEV_PAUSE);
    if (!setup_io()) {
        return false;
    }
    clock_.sleep_for(UDEV_PAUSE);
    return true;
}

bool GpioCtrl::export_pins() const
{
    for (const auto& [name, gpio] : gpios()) {
        const std::string path = gpio.path("/value");
        LOG.debug("Current GPIO ", name, " path : ", path);
        const bool exported = access(ecu::kova::rooted(path).c_str(), F_OK) == 0;
        if (!exported && !write_text(EXPORT_PATH, std::to_string(gpio.number()))) {
            return false;
        }
    }
    return true;
}

bool GpioCtrl::setup_io() const
{
    LOG.debug("Setup ublox GPIOs (set I/O)");
    for (const auto& [name, gpio] : gpios()) {
        std::string direction;
        // An output reads back as "out", never as the "high" or "low" written, so outputs are always driven
        // to their initial level again: supply, power-on and reset are in a known state after every
        // initialisation.
        if (read_word(gpio.direction_path(), direction) && direction == gpio.direction_text()) {
            LOG.debug("GPIO ", name, "(", gpio.number(), ") already setup");
            continue;
        }
        if (!write_text(gpio.direction_path(), gpio.direction_text())) {
            LOG.error("Setting up GPIO ", name, "(", gpio.number(), ") failed");
            return false;
        }
    }
    return true;
}
