#include "doctor/checks.hpp"
#include "gpio/gpio_ctrl.hpp"

#include <ecu/kova/root.hpp>

#include <cerrno>
#include <fstream>
#include <system_error>
#include <unistd.h>

namespace celldctl {

namespace {

constexpr auto EXPORT = "/sys/class/gpio/export";

std::string first_word(const std::string& path)
{
    std::ifstream file(ecu::kova::rooted(path));
    std::string word;
    file >> word;
    return word;
}

bool is_exported(const GpioCtrl::Gpio& pin)
{
    return access(ecu::kova::rooted(pin.path("")).c_str(), F_OK) == 0;
}

/// "VCC 3 out 1".
std::string level_of(const std::string& name, const GpioCtrl::Gpio& pin)
{
    return name + " " + std::to_string(pin.number()) + " " + first_word(pin.direction_path()) + " " +
           first_word(pin.value_path());
}

void check_line(const std::string& name, const GpioCtrl::Gpio& pin, Findings& findings)
{
    if (first_word(pin.value_path()).empty() || first_word(pin.direction_path()).empty()) {
        findings.error(name + ": line " + std::to_string(pin.number()) + " cannot be read",
                       "look at " + ecu::kova::rooted(pin.path("")) + " and its rights");
    } else {
        findings.ok(level_of(name, pin));
    }
}

} // namespace

void check_board(const std::string& hardware_version, Findings& findings)
{
    const auto path = ecu::kova::rooted(EXPORT);
    if (access(path.c_str(), W_OK) != 0) {
        const int error = errno;
        findings.error(path + ": " + std::generic_category().message(error),
                       error == ENOENT ? "the kernel needs its sysfs GPIO interface (CONFIG_GPIO_SYSFS)"
                                       : "run this as the user that celld runs as");
        return;
    }
    std::string missing;
    const auto board = GpioCtrl::of_version(hardware_version);
    for (const auto& [name, pin] : board->gpios()) {
        if (is_exported(pin)) {
            check_line(name, pin, findings);
        } else {
            missing += (missing.empty() ? "" : ", ") + name + " " + std::to_string(pin.number());
        }
    }
    if (!missing.empty()) {
        findings.warning(
            "not exported: " + missing,
            "celld does it at its start; if it has started, another driver may have these lines");
    }
}

} // namespace celldctl
