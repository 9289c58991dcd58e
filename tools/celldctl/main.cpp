#include "command_line.hpp"

#include <ecu/kova/logging.hpp>

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace celldctl;

int run(int argc, char** argv)
{
    const auto line = parse_command_line(argc, argv);
    Session session{line.broker, {}, {}};
    if (!line.run) {
        session.output.write(line.text);
        return SUCCESS;
    }
    return line.run(session);
}

/// A stream that the caller has closed would else be the number of the next descriptor, and what is written
/// to it reach a socket. From "/dev/null" nothing can be written to, so it is still told.
void fill_closed_streams()
{
    int descriptor = open("/dev/null", O_RDONLY);
    while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
        descriptor = open("/dev/null", O_RDONLY);
    }
    close(descriptor);
}

} // namespace

int main(int argc, char** argv)
{
    namespace logging = ecu::kova::logging;
    logging::set_log_mode(logging::LogMode::STDERR);
    logging::configure_logging("ERROR"); // why there is no connection is told by the verb, once
    std::signal(SIGPIPE, SIG_IGN);
    fill_closed_streams();
    try {
        return run(argc, argv);
    } catch (const UsageError& error) {
        complain(std::string(error.what()) + "; see celldctl --help");
        return error.status();
    } catch (const Failure& failure) {
        if (*failure.what() != '\0') {
            complain(failure.what());
        }
        return failure.status();
    } catch (const std::exception& error) {
        complain(error.what());
        return FAILURE;
    }
}
