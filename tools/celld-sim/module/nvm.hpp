#pragma once

#include "module/family.hpp"

#include <filesystem>
#include <map>
#include <set>
#include <string>

namespace bench {

/// The module's non-volatile memory: texts by key, kept in a file of "key = value" lines that is replaced as
/// a whole with each change. What the file lacks has its factory value, chosen so that a first set-up finds
/// work to do.
class Nvm {
public:
    using Values = std::map<std::string, std::string>;

    /// Reads the file when there is one; lines that do not read are left out. @throws BenchError
    Nvm(std::filesystem::path file, Family family);

    const std::string& get(const std::string& key) const { return values_.at(key); }
    int number(const std::string& key) const;

    /// @throws BenchError when the file cannot be written
    void set(const std::string& key, const std::string& value);

    /// Changes of `key` are taken from now on and not kept, as by a module whose memory is worn.
    void forget_changes(const std::string& key, bool on);

    /// All values, to keep what was in force at the start of the module.
    const Values& values() const { return values_; }

    /// Keys of the functions and levels of the module's own GPIO pins: "gpio.<id>" holds "<mode>" or
    /// "<mode>,<level>".
    static std::string gpio_key(int id) { return "gpio." + std::to_string(id); }

private:
    void load();
    void save() const;

    std::filesystem::path file_;
    Values values_;
    std::set<std::string> forgotten_; ///< keys whose changes are not kept
};

} // namespace bench
