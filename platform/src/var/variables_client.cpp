#include "../config/key_value_lines.hpp"

#include <ecu/kova/logging.hpp>
#include <ecu/kova/root.hpp>
#include <ecu/kova/var/variables_client.hpp>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <files/status.hpp>
#include <filesystem>
#include <fstream>
#include <set>
#include <system_error>
#include <thread>
#include <threads/mutex.hpp>

namespace ecu::kova::var {

namespace {

using namespace std::chrono_literals;

constexpr auto LOOK_AGAIN = 200ms; // how soon a variable that has appeared is noticed by a read that waits
constexpr std::size_t MOST_WARNINGS =
    64; // broken lines told of; a file that breaks anew at each read goes quiet

/// A file of lines `key = value`, looked at afresh for every question. Any thread.
class VariableFile {
public:
    explicit VariableFile(std::string path) : path_(std::move(path)) {}

    /// The last value whose key satisfies `wanted`; absent when the file or the key is missing.
    std::optional<std::string> find(const std::function<bool(const std::string&)>& wanted)
    {
        const std::string path = rooted(path_);
        std::ifstream input;
        if (!trouble_opening(path, input).empty()) {
            return std::nullopt;
        }
        std::optional<std::string> found;
        config::read_key_value_lines(
            input,
            [&](const std::string& key, const std::string& value) {
                if (wanted(key)) {
                    found = value;
                }
            },
            [&](const std::string& text) {
                warn_once(path + ": " + text + ", skipped");
                return true;
            });
        return found;
    }

    /// Why there is no value: what is wrong with the file, else that it has none.
    std::string absence() const
    {
        const std::string path = rooted(path_);
        std::ifstream input;
        const std::string trouble = trouble_opening(path, input);
        return path + (trouble.empty() ? " has no value for it" : trouble);
    }

private:
    /// Opens the file; what to say behind its name when that fails.
    static std::string trouble_opening(const std::string& path, std::ifstream& input)
    {
        std::error_code error;
        const auto status = files::status(path, error);
        if (status.type() == std::filesystem::file_type::not_found) {
            return " is missing";
        }
        if (std::filesystem::status_known(status)) {
            if (!std::filesystem::is_regular_file(status)) { // opening a FIFO put there would block
                return std::filesystem::is_directory(status) ? " is a directory" : " is no file";
            }
            input.open(path);
            error = input ? std::error_code() : std::error_code(errno, std::generic_category());
        }
        return error ? " cannot be read: " + error.message() : "";
    }

    void warn_once(const std::string& text)
    {
        const threads::MutexLock lock(mutex_);
        if (warned_.size() < MOST_WARNINGS && warned_.insert(text).second) {
            logging::module("kova.var").warning(text);
        }
    }

    std::string path_;
    threads::Mutex mutex_;
    std::set<std::string> warned_ THREADS_GUARDED_BY(mutex_);
};

template <class Number>
std::optional<Number> whole_number(const std::string& text)
{
    Number number{};
    const auto* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc{} || rest != end) {
        return std::nullopt;
    }
    return number;
}

std::string unquoted(const std::string& value)
{
    const bool quoted = value.size() >= 2 && value.front() == '"' && value.back() == '"';
    return quoted ? value.substr(1, value.size() - 2) : value;
}

class FileVariables final : public VariablesClient {
public:
    std::string get(const std::string& name, const std::string& fallback,
                    std::chrono::milliseconds timeout) override
    {
        const auto start = std::chrono::steady_clock::now();
        while (true) {
            if (auto value = file_.find([&](const std::string& key) { return key == name; })) {
                return unquoted(*value);
            }
            const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(
                std::chrono::steady_clock::now() - start);
            if (waited >= timeout) {
                return fallback;
            }
            std::this_thread::sleep_for(std::min<std::chrono::milliseconds>(LOOK_AGAIN, timeout - waited));
        }
    }

    std::string absence(const std::string& /*name*/) override { return file_.absence(); }

private:
    VariableFile file_{"/etc/vexa/ecu_variables.conf"};
};

class FileSystemParameters final : public SystemParametersClient {
public:
    std::optional<pb::SystemParameterEntry> get(std::uint32_t id) override
    {
        const auto value =
            file_.find([&](const std::string& key) { return whole_number<std::uint32_t>(key) == id; });
        if (!value) {
            return std::nullopt;
        }
        pb::SystemParameterEntry entry;
        entry.set_id(id);
        entry.set_text(unquoted(*value));
        if (const auto number = whole_number<std::int64_t>(*value)) {
            entry.set_number(*number);
        }
        return entry;
    }

private:
    VariableFile file_{"/etc/vexa/system_parameters.conf"};
};

} // namespace

std::shared_ptr<VariablesClient> create_var_client()
{
    return std::make_shared<FileVariables>();
}

std::shared_ptr<SystemParametersClient> create_sysparams_client()
{
    return std::make_shared<FileSystemParameters>();
}

} // namespace ecu::kova::var
