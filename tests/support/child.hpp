#pragma once

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <sys/prctl.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

/// A program in a process group of its own; both its streams go to one file. It is killed and reaped with the
/// object, and killed by the kernel (PR_SET_PDEATHSIG, prctl(2)) when the test dies first. Main thread only.
class Child {
public:
    Child() = default;
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() { kill(); }

    /// `command` begins with the path of the program; `variables` ("NAME=VALUE") are added to the environment
    /// of the test. @throws std::runtime_error when there is no process
    void start(std::vector<std::string> command, const std::filesystem::path& output,
               std::vector<std::string> variables = {})
    {
        kill();
        const auto arguments = pointers(command, {});
        const auto environment = pointers(variables, environ);
        const int file = open(output.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        const pid_t parent = getpid();
        const pid_t process = fork();
        if (process == 0) {
            become(arguments.data(), environment.data(), file, parent);
        }
        close(file);
        if (process < 0) {
            throw std::runtime_error("no process for " + command.front());
        }
        setpgid(process, process); // here too: whoever comes first
        process_ = process;
    }

    pid_t id() const { return process_; } ///< 0 when nothing runs

    void signal(int number) const
    {
        if (process_ != 0) {
            ::kill(process_, number);
        }
    }

    void kill()
    {
        if (running()) {
            ::kill(-process_, SIGKILL);
            waitpid(process_, &status_, 0);
            process_ = 0;
        }
    }

    bool running()
    {
        if (process_ != 0 && waitpid(process_, &status_, WNOHANG) == process_) {
            process_ = 0;
        }
        return process_ != 0;
    }

    /// Of what has ended: its exit status, or minus the signal that killed it.
    int result() const { return WIFEXITED(status_) ? WEXITSTATUS(status_) : -WTERMSIG(status_); }

private:
    /// To the words and to what `more` holds, null-terminated.
    static std::vector<char*> pointers(std::vector<std::string>& words, char** more)
    {
        std::vector<char*> all;
        for (auto& word : words) {
            all.push_back(word.data());
        }
        for (; more != nullptr && *more != nullptr; ++more) {
            all.push_back(*more);
        }
        all.push_back(nullptr);
        return all;
    }

    /// Of a process with several threads only this one is left here: nothing may allocate.
    [[noreturn]] static void become(char* const* arguments, char* const* environment, int output,
                                    pid_t parent)
    {
        setpgid(0, 0);
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() == parent && dup2(output, STDOUT_FILENO) >= 0 && dup2(output, STDERR_FILENO) >= 0) {
            execve(arguments[0], arguments, environment);
        }
        _exit(127); // as a shell says that there is no such program
    }

    pid_t process_ = 0; // 0: none
    int status_ = 0;
};
