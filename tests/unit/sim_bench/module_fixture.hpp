#pragma once

#include "module/module.hpp"
#include "support/temp_root.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace bench {

using namespace std::chrono_literals;

/// A module with its own time: what is sent is answered before the call returns.
class ModuleFixture : public testing::Test, public ModuleHost {
protected:
    ModuleFixture()
    {
        transcript_.open(root_.path("/transcript"));
        restart_module();
        pass(2s); // the SIM answers after one
        at("E0");
    }

    void pass(std::chrono::milliseconds time) { timers_.advance_to(timers_.now() + time); }
    void write(const std::string& command) { module_.receive("AT" + command + "\r\n"); }
    std::string heard_within(std::chrono::milliseconds time)
    {
        output_.clear();
        pass(time);
        return output_;
    }
    std::string at(const std::string& command)
    {
        output_.clear();
        write(command);
        pass(1s);
        return output_;
    }

    void restart_module() override
    {
        module_.power_down();
        module_.power_up();
    }

    Script& script() { return module_.interpreter().script(); }

    /// The transcript without its times, from its `skipped`-th line on.
    std::vector<std::string> recorded(std::size_t skipped) const
    {
        std::vector<std::string> lines;
        std::istringstream text(root_.read("/transcript"));
        for (std::string line; std::getline(text, line);) {
            std::replace(line.begin(), line.end(), '\t', ' ');
            lines.push_back(line.substr(line.find(' ') + 1));
        }
        lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(skipped));
        return lines;
    }

    const TempRoot root_;
    const ModuleSetup setup_{};
    TimerQueue timers_{TimerQueue::TimePoint{}};
    Transcript transcript_{timers_};
    Nvm nvm_{root_.path("/nvm.conf"), Family::SARA};
    Module module_{setup_, timers_, nvm_, transcript_, *this};
    int pieces_ = 0;  ///< the module's output came in
    int crashes_ = 0; ///< of its firmware

private:
    void transmit(std::string_view bytes) override
    {
        output_ += bytes;
        ++pieces_;
    }
    void switch_module_off() override {}
    void crash_module(const Crash&) override
    {
        ++crashes_;
        restart_module();
    }
    std::string port_state() const override { return "open"; }
    void log(char, const std::string&) override {}

    std::string output_;
};

} // namespace bench
