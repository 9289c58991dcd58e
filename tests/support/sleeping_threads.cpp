#include "support/sleeping_threads.hpp"

#include "at/unique_fd.hpp"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <string_view>
#include <unistd.h>

namespace {

/// The state is the letter behind the program's name, which is in parentheses and may hold any.
bool is_asleep(const std::filesystem::path& task)
{
    const UniqueFd file(::open((task / "stat").c_str(), O_RDONLY | O_CLOEXEC));
    std::array<char, 128> buffer; // as much as is wanted of it
    const auto got = ::read(file.get(), buffer.data(), buffer.size());
    if (got <= 0) {
        return true; // it has ended meanwhile
    }
    const std::string_view line(buffer.data(), static_cast<std::size_t>(got));
    return line.substr(std::min(line.rfind(')'), line.size())).starts_with(") S");
}

} // namespace

bool other_threads_sleep()
{
    static const std::filesystem::path TASKS("/proc/self/task");
    const auto self = std::to_string(::gettid());
    const std::filesystem::directory_iterator tasks(TASKS);
    return std::all_of(begin(tasks), end(tasks), [&self](const auto& task) {
        return task.path().filename() == self || is_asleep(task.path());
    });
}
