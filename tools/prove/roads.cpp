#include "roads.hpp"

#include <fstream>
#include <stdexcept>

Roads::Roads(const std::string& file)
{
    std::ifstream lines(file);
    std::uint64_t road = 0;
    for (std::string run; lines >> std::hex >> road >> std::ws && std::getline(lines, run);) {
        add(run, road);
    }
    if (!lines.eof() || roads_.empty()) {
        throw std::runtime_error(file + " cannot be read, or holds no roads");
    }
}

void Roads::write(const std::string& file) const
{
    std::ofstream lines(file);
    for (const auto& [run, road] : roads_) {
        lines << std::hex << road << ' ' << run << '\n';
    }
    if (!lines.flush()) {
        throw std::runtime_error(file + " cannot be written");
    }
}

bool Roads::differs(const std::string& run, std::uint64_t road) const
{
    const auto known = roads_.find(run);
    return known == roads_.end() || known->second != road;
}
