#include "doctor/processes.hpp"

#include <ecu/kova/root.hpp>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <sys/stat.h>

namespace celldctl {

namespace {

namespace fs = std::filesystem;

constexpr auto PTY_MASTER = "/dev/ptmx";
constexpr auto PTY_SLAVES = "/dev/pts/";

/// 0 for what is no process.
pid_t process_id(const fs::path& directory)
{
    const auto name = directory.filename().string();
    pid_t id = 0;
    const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), id);
    return error == std::errc() && end == name.data() + name.size() ? id : 0;
}

/// What the process has open; false where it may not be seen. One that ends meanwhile has nothing open.
bool open_files(const fs::path& process, std::vector<std::string>& files)
{
    std::error_code error;
    fs::directory_iterator entry(process / "fd", error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        std::error_code gone;
        files.push_back(fs::read_symlink(entry->path(), gone).string());
    }
    return error != std::errc::permission_denied;
}

bool is_among(const std::string& path, const std::vector<std::string>& files)
{
    return std::find(files.begin(), files.end(), path) != files.end();
}

std::string name_of(const fs::path& process)
{
    std::string name;
    std::ifstream file(process / "comm");
    std::getline(file, name);
    return name;
}

} // namespace

std::vector<Process> holders_of(const std::string& real_path, bool& sees_all)
{
    sees_all = true;
    std::vector<Process> holders;
    const bool is_pty = real_path.rfind(PTY_SLAVES, 0) == 0;
    std::error_code error;
    for (fs::directory_iterator entry("/proc", error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
        const pid_t id = process_id(entry->path());
        std::vector<std::string> files;
        if (id == 0) {
            continue;
        }
        sees_all = open_files(entry->path(), files) && sees_all;
        if (is_among(real_path, files) && !(is_pty && is_among(PTY_MASTER, files))) {
            holders.push_back({id, name_of(entry->path())});
        }
    }
    return holders;
}

pid_t running_celld()
{
    const auto path = ecu::kova::rooted("/run/celld.lock");
    struct stat status {};
    pid_t written = 0;
    std::ifstream file(path);
    if (!(file >> written) || stat(path.c_str(), &status) != 0) {
        return 0;
    }
    // "1: FLOCK  ADVISORY  WRITE 1234 00:1a:5678 0 EOF", proc(5). The device is that of the file system below
    // where there are layers; number and process are enough.
    const auto inode = ":" + std::to_string(status.st_ino);
    std::ifstream locks("/proc/locks");
    for (std::string line; std::getline(locks, line);) {
        std::istringstream words(line);
        std::string number;
        std::string kind;
        std::string mode;
        std::string access;
        pid_t holder = 0;
        std::string place;
        if (words >> number >> kind >> mode >> access >> holder >> place && kind == "FLOCK" &&
            holder == written && place.size() > inode.size() &&
            place.compare(place.size() - inode.size(), inode.size(), inode) == 0) {
            return holder;
        }
    }
    return 0;
}

} // namespace celldctl
