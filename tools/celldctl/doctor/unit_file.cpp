#include "doctor/unit_file.hpp"

#include "utils/strings.hpp"

#include <ecu/kova/config/configuration.hpp>
#include <ecu/kova/root.hpp>

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <map>
#include <sstream>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace celldctl {

namespace {

namespace config = ecu::kova::config;

constexpr std::size_t LARGEST = 1'048'576; // bytes; a configuration has some hundred
constexpr std::size_t MOST_FAULTS = 20;    // a binary file has one a line
constexpr mode_t READ_BY_OTHERS = S_IROTH;
constexpr mode_t WRITTEN_BY_OTHERS = S_IWOTH;

std::string reason(int error)
{
    return std::generic_category().message(error);
}

/// At most LARGEST bytes, or the reason in `trouble`.
std::string contents(int descriptor, std::string& trouble)
{
    std::string text(LARGEST + 1, '\0');
    std::size_t size = 0;
    ssize_t count = 0;
    while (size < text.size() && (count = read(descriptor, text.data() + size, text.size() - size)) > 0) {
        size += static_cast<std::size_t>(count);
    }
    if (count < 0) {
        trouble = reason(errno);
    } else if (size > LARGEST) {
        trouble = "it is larger than any configuration";
    }
    text.resize(std::min(size, LARGEST));
    return text;
}

/// What the platform library says behind "line 1: ".
std::string fault_text(const std::string& what)
{
    constexpr std::string_view BEGIN = "line 1: ";
    const auto begin = what.find(BEGIN);
    return begin == std::string::npos ? what : what.substr(begin + BEGIN.size());
}

/// The keys of a configuration of one line. An optional operation of the platform library, found at compile
/// time; else the key is what stands in front of the '='.
template <class Configuration>
std::vector<std::string> keys_of(const Configuration& one, const std::string& text)
{
    if constexpr (requires { one.keys(); }) {
        return one.keys();
    } else {
        std::string key = text.substr(0, text.find('='));
        utils::trim(key);
        return one.is_set(key) ? std::vector{key} : std::vector<std::string>();
    }
}

void read_line(UnitFile& file, std::size_t number, const std::string& text)
{
    try {
        config::Configuration one;
        std::istringstream input(text);
        config::set_config_from_input(one, input, "");
        for (const auto& key : keys_of(one, text)) {
            file.lines.push_back({number, key, one.get(key)});
        }
    } catch (const config::ConfigurationError& error) {
        if (file.faults.size() < MOST_FAULTS) {
            file.faults.push_back({number, fault_text(error.what())});
        }
    }
}

void check_rights(const UnitFile& file, bool secret, Findings& findings)
{
    if ((file.mode & WRITTEN_BY_OTHERS) != 0) {
        findings.warning("anybody may write to it", "chmod o-w " + file.path);
    }
    if (secret && (file.mode & READ_BY_OTHERS) != 0) {
        findings.warning("anybody may read the secrets in it", "chmod o-r " + file.path);
    }
}

void check_repeated(const UnitFile& file, Findings& findings)
{
    std::map<std::string, std::size_t> last;
    for (const auto& line : file.lines) {
        const auto [known, is_new] = last.insert({line.key, line.number});
        if (!is_new) {
            findings.warning("line " + std::to_string(line.number) + " sets '" + line.key +
                                 "' again; the one of line " + std::to_string(known->second) +
                                 " is of no effect",
                             "leave one of them");
            known->second = line.number;
        }
    }
}

} // namespace

const std::string* UnitFile::find(const std::string& key) const
{
    const auto found =
        std::find_if(lines.rbegin(), lines.rend(), [&key](const Line& line) { return line.key == key; });
    return found == lines.rend() ? nullptr : &found->value;
}

UnitFile read_unit_file(const std::string& absolute_path)
{
    UnitFile file;
    file.path = ecu::kova::rooted(absolute_path);
    struct stat status {};
    const int descriptor = open(file.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        file.exists = errno != ENOENT;
        file.trouble = file.exists ? reason(errno) : "";
        return file;
    }
    file.exists = true;
    if (fstat(descriptor, &status) != 0) {
        file.trouble = reason(errno);
    } else if (!S_ISREG(status.st_mode)) {
        file.trouble = S_ISDIR(status.st_mode) ? "it is a directory" : "it is no file";
    } else {
        file.mode = status.st_mode & 07777U;
        read_lines(file, contents(descriptor, file.trouble));
    }
    close(descriptor);
    return file;
}

void read_lines(UnitFile& file, const std::string& text)
{
    std::istringstream input(text);
    std::string line;
    for (std::size_t number = 1; std::getline(input, line); ++number) {
        read_line(file, number, line);
    }
}

void check_file(const UnitFile& file, bool secret, Findings& findings)
{
    if (!file.is_readable()) {
        return;
    }
    findings.ok(file.path + " can be read, lines with a key: " + std::to_string(file.lines.size()));
    check_rights(file, secret, findings);
    check_repeated(file, findings);
}

} // namespace celldctl
