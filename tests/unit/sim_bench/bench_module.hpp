#pragma once

#include "module/module.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

namespace bench {

using namespace std::chrono_literals;

/// A module with its own time: what is sent is answered before the call returns.
class BenchModule : public testing::Test, public ModuleHost {
protected:
    BenchModule()
    {
        std::string pattern = std::filesystem::temp_directory_path() / "sim_bench_XXXXXX";
        root_ = ::mkdtemp(pattern.data());
    }
    ~BenchModule() override { std::filesystem::remove_all(root_); }

    void power_up(Family family)
    {
        module_.reset();
        setup_.family = family;
        nvm_ = std::make_unique<Nvm>(root_ / "nvm.conf", family);
        module_ = std::make_unique<Module>(setup_, timers_, *nvm_, transcript_, *this);
        restart_module();
        pass(2s); // the SIM answers after one
    }

    void pass(std::chrono::milliseconds time) { timers_.advance_to(timers_.now() + time); }

    void write(const std::string& command) { module_->receive("AT" + command + "\r\n"); }

    std::string at(const std::string& command)
    {
        output_.clear();
        write(command);
        pass(1s);
        return output_;
    }

    std::string heard_within(std::chrono::milliseconds time)
    {
        output_.clear();
        pass(time);
        return output_;
    }

    void restart_module() override
    {
        module_->power_down();
        module_->power_up();
    }

    ModuleSetup setup_;
    TimerQueue timers_{TimerQueue::TimePoint{}};
    Transcript transcript_{timers_};
    std::unique_ptr<Nvm> nvm_;
    std::unique_ptr<Module> module_;
    std::filesystem::path root_;
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
