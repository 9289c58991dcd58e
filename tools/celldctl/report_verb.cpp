#include "report.hpp"
#include "utils/strings.hpp"
#include "verbs.hpp"

#include <cerrno>
#include <fstream>
#include <memory>

namespace celldctl {

namespace {

struct Settings {
    std::vector<std::string> files;
    std::string output;
};

int make(Session& session, const Settings& settings)
{
    const auto page = report_html(settings.files);
    if (settings.output.empty()) {
        session.output.write(page);
        return SUCCESS;
    }
    errno = 0;
    std::ofstream file(settings.output, std::ios::binary | std::ios::trunc);
    file << page << std::flush;
    if (!file) {
        throw Failure(FAILURE, utils::errno_text("cannot write " + settings.output));
    }
    return SUCCESS;
}

} // namespace

Run report(Options& options)
{
    const auto settings = std::make_shared<Settings>();
    options.paths("FILE", settings->files,
                  "recordings, journals and outputs of monitor --json, in any order");
    options.text("-o,--output", settings->output, "the page; standard output without it");
    return [settings](Session& session) { return make(session, *settings); };
}

} // namespace celldctl
