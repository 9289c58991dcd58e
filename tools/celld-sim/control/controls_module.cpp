#include "base/files.hpp"
#include "control/control_table.hpp"

#include <array>
#include <utility>

namespace bench {
namespace {

constexpr int MAX_SECONDS = 86'400;
constexpr int MAX_BOOT_MS = 3'600'000;
constexpr int MAX_GARBAGE = 1'000'000;
constexpr int DEFAULT_PORT_DROP_S = 3;

std::string control_sim(Bench& bench, Words& words)
{
    const auto slot = words.slot();
    const auto action = words.next();
    auto& module = bench.module();
    if (action == "insert" || action == "remove") {
        module.insert_card(slot, action == "insert");
    } else if (action == "puk") {
        module.sims().pin_attempts(slot, 0);
    } else if (action == "busy") {
        module.sims().keep_busy(slot, std::chrono::seconds(words.number(0, MAX_SECONDS)));
    } else {
        throw BenchError("sim internal|external insert|remove|puk, or busy SECONDS");
    }
    return "";
}

std::string control_simlock(Bench& bench, Words& words)
{
    bench.sim_lock(words.number(0, 1) == 1);
    return "";
}

std::string control_pin_attempts(Bench& bench, Words& words)
{
    const auto slot = words.slot();
    bench.module().sims().pin_attempts(slot, words.number(0, SimCard::PIN_ATTEMPTS));
    return "";
}

std::string control_port(Bench& bench, Words& words)
{
    const auto action = words.next();
    if (action == "back") {
        bench.return_port();
    } else if (action != "drop") {
        throw BenchError("port drop [SECONDS|never] or port back");
    } else if (words.rest_is("never")) {
        bench.drop_port({});
    } else {
        const int seconds = words.empty() ? DEFAULT_PORT_DROP_S : words.number(0, MAX_SECONDS);
        bench.drop_port(std::chrono::seconds(seconds));
    }
    return "";
}

std::string control_gpio(Bench& bench, Words& words)
{
    constexpr std::array NAMES{
        std::pair{"normal", GpioFault::NONE}, std::pair{"unexportable", GpioFault::UNEXPORTABLE},
        std::pair{"unreadable", GpioFault::UNREADABLE}, std::pair{"unwritable", GpioFault::UNWRITABLE}};
    const auto line = words.next();
    for (const auto& [name, fault] : NAMES) {
        if (words.rest_is(name)) {
            bench.gpio_fault(line, fault);
            return "";
        }
    }
    throw BenchError("gpio LINE unexportable|unreadable|unwritable|normal");
}

std::string control_reboot(Bench& bench, Words&)
{
    bench.reboot();
    return "";
}

std::string control_mute(Bench& bench, Words& words)
{
    bench.module().interpreter().mute(words.on_or_off());
    return "";
}

std::string control_boot(Bench& bench, Words& words)
{
    if (words.rest_is("never")) {
        bench.boot_time({});
    } else if (words.rest_is("normal")) {
        bench.boot_time(bench.usual_boot_time());
    } else {
        bench.boot_time(std::chrono::milliseconds(words.number(0, MAX_BOOT_MS)));
    }
    return "";
}

std::string control_forget(Bench& bench, Words& words)
{
    constexpr std::array SETTINGS{std::pair{"usb-profile", "uusbconf"}, std::pair{"router-mode", "ubmconf"},
                                  std::pair{"hot-swap", "udconf.50"}, std::pair{"rat", "urat"}};
    auto& module = bench.module();
    const auto word = words.next();
    std::string key = word == "detection-pin" ? Nvm::gpio_key(module.sim_detect_pin()) : "";
    for (const auto& [name, setting] : SETTINGS) {
        key = word == name ? setting : key;
    }
    if (key.empty() || !module.nvm().values().contains(key)) {
        throw BenchError("'" + word + "' is no setting of this module");
    }
    module.nvm().forget_changes(key, words.on_or_off());
    return "";
}

std::string control_echo(Bench& bench, Words& words)
{
    bench.module().interpreter().echo(words.on_or_off());
    return "";
}

std::string control_endless(Bench& bench, Words& words)
{
    bench.send_raw(std::string(static_cast<std::size_t>(words.number(1, MAX_GARBAGE)), 'x'));
    return "";
}

std::string control_hang(Bench& bench, Words&)
{
    bench.hang();
    return "";
}

std::string control_urc(Bench& bench, Words& words)
{
    bench.module().urc(words.rest());
    return "";
}

std::string control_garbage(Bench& bench, Words& words)
{
    bench.send_garbage(static_cast<std::size_t>(words.number(1, MAX_GARBAGE)));
    return "";
}

constexpr std::array ROWS{
    ControlRow{"sim", control_sim, "internal|external insert|remove|puk / internal|external busy SECONDS",
               "put a card in or take it out; its PIN is blocked; it is busy so long"},
    ControlRow{"simlock", control_simlock, "0|1", "level of the SIM-lock line"},
    ControlRow{"pin-attempts", control_pin_attempts, "internal|external N",
               "PIN attempts left on the card, 0 to 3"},
    ControlRow{
        "port", control_port, "drop [SECONDS|never] / back",
        "take the port away and bring it back (default after 3 s); never: once it is told to come back"},
    ControlRow{"gpio", control_gpio, "LINE unexportable|unreadable|unwritable|normal",
               "what the files of a line, by name or number, do from now on"},
    ControlRow{"reboot", control_reboot, "", "the module restarts by itself"},
    ControlRow{"mute", control_mute, "on|off", "take commands without answering; no unsolicited lines"},
    ControlRow{"hang", control_hang, "", "as mute, until the module restarts"},
    ControlRow{"boot", control_boot, "MS|never|normal", "how long the module boots from now on"},
    ControlRow{"forget", control_forget, "SETTING on|off",
               "changes of usb-profile, router-mode, hot-swap, rat or detection-pin are taken and not kept"},
    ControlRow{"echo", control_echo, "on|off", "the module echoes what it gets, as after ATE1"},
    ControlRow{"urc", control_urc, "TEXT", "send an unsolicited line"},
    ControlRow{"garbage", control_garbage, "N", "send N random bytes"},
    ControlRow{"endless", control_endless, "N", "send N characters and no line end"},
};

} // namespace

std::span<const ControlRow> module_controls()
{
    return ROWS;
}

} // namespace bench
