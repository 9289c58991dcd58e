#pragma once

#include "timer/clock.hpp"
#include "utils/words.hpp"

#include <ecu/kova/var/variables_client.hpp>

#include <map>
#include <memory>
#include <string>

/// The board's lines to the module (supply, power-on, reset, SIM lock, module-alive) through the kernel's
/// sysfs GPIO interface (Documentation/admin-guide/gpio/sysfs.rst), below CELLD_ROOT. Logs on
/// "celld.gpioctrl".
///
/// Stateless but for the pin map; one thread at a time. Failures are logged and come back as false,
/// `UNDEFINED` or an empty text.
class GpioCtrl {
public:
    enum class PinValue {
        LOW = 0,
        HIGH = 1,
        UNDEFINED = 2, ///< read: anything else; written: an empty text
    };

    /// One pin, known by its number.
    class Gpio {
    public:
        /// What is written to "direction". HIGH and LOW make the pin an output and set its level in one go;
        /// the kernel reads both back as "out".
        enum class Direction { IN = 0, OUT = 1, OUT_HIGH = 2, OUT_LOW = 3 };

        Gpio(unsigned short number, Direction direction);

        /// "/sys/class/gpio/gpio<N><suffix>".
        std::string path(const char* suffix) const;
        /// The first word of the value file; empty when it cannot be read.
        std::string value() const;
        bool value(const std::string& text) const;

        unsigned short number() const { return number_; }
        const char* direction_text() const;
        const std::string& value_path() const { return value_path_; }
        const std::string& direction_path() const { return direction_path_; }

    private:
        unsigned short number_;
        Direction direction_;
        std::string value_path_;
        std::string direction_path_;
    };

    using Pins = std::map<std::string, Gpio>; // "PWRON", "RESET", "SIMLOCK", "VCC", "VINT"

    /// The controller for the board that ECU variable "hwversion" names: K7 for exactly "k7", else QBX/RMX.
    /// Waits up to a minute for the variable. Touches no file before `init`.
    static std::shared_ptr<GpioCtrl> create(const std::shared_ptr<ecu::kova::var::VariablesClient>& variables,
                                            Clock& clock = SystemClock::instance());

    /// The same for a version that is known, without a wait.
    static std::shared_ptr<GpioCtrl> of_version(const std::string& version,
                                                Clock& clock = SystemClock::instance());
    /// What "hwversion" may say.
    static utils::Words hardware_versions();

    virtual ~GpioCtrl() = default;

    /// Exports what is not exported yet and puts every line into its initial level: module off. Takes 4 s,
    /// for udev.
    virtual bool init();
    /// Whether the board asks for the other SIM.
    virtual bool sim_lock_active() = 0;
    virtual bool vcc(const PinValue& value) const = 0;
    virtual bool pwron(const PinValue& value) const = 0;
    virtual bool reset(const PinValue& value) const = 0;
    /// LOW while the module is alive, HIGH when it is gone.
    virtual PinValue vint() const = 0;
    virtual const Pins& gpios() const = 0;
    virtual bool setup_io() const;

protected:
    explicit GpioCtrl(Clock& clock) : clock_(clock) {}

private:
    bool export_pins() const;

    Clock& clock_;
};
