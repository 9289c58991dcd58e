#include "module/nvm.hpp"

#include "base/files.hpp"

#include <cstdlib>
#include <sstream>

namespace bench {
namespace {

/// 255 is "pad disabled" and 7 "SIM card detection" in the manual's list of GPIO functions; 0 is an output.
Nvm::Values factory_values(Family family)
{
    Nvm::Values values{{"uusbconf", "0"}, {"udconf.50", "0"}};
    if (family == Family::SARA) {
        values.insert({{"urat", "1,0"},
                       {"gpio.16", "255"},
                       {"gpio.23", "0,0"},
                       {"gpio.24", "0,0"},
                       {"gpio.25", "255"},
                       {"gpio.42", "7"}});
    } else {
        values.insert({{"urat", "4,2"},
                       {"ubmconf", "2"},
                       {"uipconf", R"("192.168.1.1","255.255.255.0","192.168.1.100","192.168.1.100")"},
                       {"gpio.21", "255"},
                       {"gpio.22", "0,0"},
                       {"gpio.23", "255"},
                       {"gpio.24", "255"},
                       {"gpio.60", "7"}});
    }
    return values;
}

} // namespace

Nvm::Nvm(std::filesystem::path file, Family family) : file_(std::move(file)), values_(factory_values(family))
{
    std::filesystem::create_directories(file_.parent_path());
    load();
}

int Nvm::number(const std::string& key) const
{
    return static_cast<int>(std::strtol(get(key).c_str(), nullptr, 10));
}

void Nvm::set(const std::string& key, const std::string& value)
{
    if (!forgotten_.contains(key)) {
        values_.at(key) = value;
        save();
    }
}

void Nvm::forget_changes(const std::string& key, bool on)
{
    if (on) {
        forgotten_.insert(key);
    } else {
        forgotten_.erase(key);
    }
}

void Nvm::load()
{
    std::istringstream lines(read_file(file_).value_or(""));
    constexpr std::string_view SEPARATOR = " = ";
    for (std::string line; std::getline(lines, line);) {
        const auto at = line.find(SEPARATOR);
        const auto known = values_.find(line.substr(0, at));
        if (at != std::string::npos && known != values_.end()) {
            known->second = line.substr(at + SEPARATOR.size());
        }
    }
}

void Nvm::save() const
{
    std::string text;
    for (const auto& [key, value] : values_) {
        text.append(key).append(" = ").append(value).append("\n");
    }
    write_atomically(file_, text);
}

} // namespace bench
