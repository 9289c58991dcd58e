#include "control/bench.hpp"
#include "control/options.hpp"
#include "record/transcript_check.hpp"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

namespace {

int send(const bench::Options& options)
{
    const auto answer = bench::send_control_command(options.root, options.command);
    std::fputs(answer.c_str(), stdout);
    return answer.starts_with("ok") ? EXIT_SUCCESS : EXIT_FAILURE;
}

int check(const bench::Options& options)
{
    const auto violations = bench::check_transcript(options.command);
    for (const auto& violation : violations) {
        std::puts(violation.text.c_str());
    }
    return violations.empty() ? EXIT_SUCCESS : EXIT_FAILURE;
}

int run(const bench::Options& options)
{
    switch (options.mode) {
    case bench::Options::Mode::HELP:
        std::fputs(bench::help_text().c_str(), stdout);
        return EXIT_SUCCESS;
    case bench::Options::Mode::VERSION:
        std::puts("celld-sim " CELLD_SIM_VERSION);
        return EXIT_SUCCESS;
    case bench::Options::Mode::SEND:
        return send(options);
    case bench::Options::Mode::CHECK:
        return check(options);
    case bench::Options::Mode::BENCH:
        bench::Bench(options).run();
        return EXIT_SUCCESS;
    }
    return EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv)
{
    try {
        return run(bench::parse_options(argc, argv));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "celld-sim: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
