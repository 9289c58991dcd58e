#include "record/transcript.hpp"

#include <algorithm>
#include <cctype>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace bench {

void Transcript::open(const std::filesystem::path& file)
{
    file_ = FileDescriptor(::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0666));
    if (!file_) {
        throw_errno("unable to write " + file.string());
    }
}

void Transcript::note(std::string_view kind, std::initializer_list<std::string_view> fields)
{
    if (file_) {
        write(kind, fields);
    }
    if (on_note_) {
        on_note_(kind, {fields.begin(), fields.size()});
    }
}

void Transcript::write(std::string_view kind, std::initializer_list<std::string_view> fields)
{
    auto line = std::to_string(now_ms()).append("\t").append(kind);
    for (const auto field : fields) {
        const auto begin = line.append("\t").size();
        line.append(field);
        std::replace_if(
            line.begin() + static_cast<std::ptrdiff_t>(begin), line.end(),
            [](char c) { return std::iscntrl(static_cast<unsigned char>(c)) != 0; }, '.');
    }
    line += '\n';
    if (::write(file_.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
        throw_errno("unable to write the transcript");
    }
}

std::int64_t Transcript::now_ms() const
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(time_.now() - start_).count();
}

} // namespace bench
