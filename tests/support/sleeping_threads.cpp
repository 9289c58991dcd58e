#include "support/sleeping_threads.hpp"

#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

std::optional<long> switches_of_sleepers()
{
    long switches = 0;
    const auto self = std::to_string(::gettid());
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream status(task.path() / "status");
        for (std::string line; task.path().filename() != self && std::getline(status, line);) {
            if (line.starts_with("State:") && !line.ends_with("S (sleeping)")) {
                return std::nullopt;
            }
            const auto number = line.find("ctxt_switches:");
            switches += number == std::string::npos ? 0 : std::stol(line.substr(line.find(':') + 1));
        }
    }
    return switches;
}
