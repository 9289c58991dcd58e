#include "record/journal_file.hpp"

#include "utils/strings.hpp"

#include <ecu/kova/root.hpp>

#include <cerrno>
#include <files/status.hpp>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

namespace journal {
namespace {

constexpr mode_t READABLE_BY_ALL = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;

/// The end of a file, as far as the limit; empty with `wrong` set where it cannot be read.
std::string end_of(const std::string& path, std::optional<std::string>& wrong)
{
    std::error_code error;
    const auto status = files::status(path, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        wrong = path + " is no regular file";
        return {};
    }
    errno = 0;
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    if (!file) {
        wrong = utils::errno_text(path);
        return {};
    }
    const auto size = static_cast<std::size_t>(file.tellg());
    const auto wanted = std::min(size, LIMIT);
    file.seekg(static_cast<std::streamoff>(size - wanted));
    std::string text(wanted, '\0');
    file.read(text.data(), static_cast<std::streamsize>(wanted));
    text.resize(static_cast<std::size_t>(file.gcount()));
    return wanted < size ? text.substr(std::min(text.size(), text.find('\n'))) : text;
}

void add_lines(std::string_view text, Contents& contents)
{
    while (!text.empty()) {
        const auto end = text.find('\n');
        const auto line = text.substr(0, end);
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        if (auto record = from_line(line)) {
            contents.records.push_back(std::move(*record));
        } else {
            ++contents.damaged;
        }
    }
}

} // namespace

LineFile::Settings file()
{
    return {PATH, LIMIT, READABLE_BY_ALL, true};
}

Contents read_file(const std::string& path)
{
    Contents contents;
    add_lines(end_of(path, contents.wrong), contents);
    return contents;
}

Contents read()
{
    Contents contents;
    for (const char* generation : {".1", ""}) {
        const std::string path = ecu::kova::rooted(PATH + std::string(generation));
        std::error_code error;
        if (files::status(path, error).type() != std::filesystem::file_type::not_found) {
            add_lines(end_of(path, contents.wrong), contents);
        }
    }
    return contents;
}

} // namespace journal
