#include "command_line.hpp"

#include "exit_status.hpp"
#include "fields.hpp"
#include "fleet/unit_id.hpp"
#include "utils/strings.hpp"

#include <CLI/CLI.hpp>
#include <memory>

namespace celldctl {

namespace {

constexpr int LONGEST_SECONDS = 86'400;
constexpr int LARGEST_COUNT = 1'000'000;
constexpr int LAST_PORT = 65'535;

constexpr auto FOOTER = R"(
The defaults of the broker options are the keys host, port and bus.* of
/etc/vexa/celld.conf (below the directory that CELLD_ROOT names), else localhost
and 1883. `celldctl VERB --help` shows a verb's own options.

Exit status: 0 done, 1 no (status: not connected; doctor: an error was found),
2 wrong usage, 3 no connection to the broker, 4 time over, 5 refused by the broker
(login), 6 something on the bus does not decode, 7 another failure, 8 standard
output cannot be written, 128 and more: the signal that interrupted it.)";

std::string unknown(const std::string& what, const std::string& word, utils::Words known)
{
    const char* const meant = utils::nearest(word, known);
    return what + " '" + word + "'" +
           (meant != nullptr ? ", did you mean '" + std::string(meant) + "'?"
                             : "; there are " + utils::listed(known));
}

CLI::Validator one_of_words(utils::Words known)
{
    return CLI::Validator(
        [known](std::string& word) {
            word = utils::lower_case(word);
            return utils::is_among(word, known) ? std::string() : unknown("there is no", word, known);
        },
        "");
}

/// "STATE" is an argument that must be there, "--state" an option that may.
CLI::Option* named(CLI::Option* option, const std::string& name)
{
    return name.front() == '-' ? option : option->required();
}

std::vector<const char*> verb_names()
{
    std::vector<const char*> names;
    names.reserve(verbs().size());
    for (const auto& verb : verbs()) {
        names.push_back(verb.name);
    }
    return names;
}

void add_broker_options(CLI::App& app, BrokerOptions& broker)
{
    const auto add = [&app](const char* name, std::optional<std::string>& value, const char* help) {
        app.add_option(name, value, help)->take_last()->type_name("TEXT")->group("Broker");
    };
    add("-h,--host", broker.host, "its host");
    app.add_option("-p,--port", broker.port, "its TCP port")
        ->take_last()
        ->check(CLI::Range(1, LAST_PORT).description(""))
        ->type_name("PORT")
        ->group("Broker");
    add("-u,--username", broker.username, "user of the login");
    add("-P,--pw", broker.password, "password of the login (others may see it in the list of processes)");
    add("--cafile", broker.cafile, "PEM file of the certificate authorities; switches TLS on");
    add("--cert", broker.certfile, "PEM file of the client's certificate");
    add("--key", broker.keyfile, "PEM file of the client's key");
    app.add_option("--unit", broker.unit, "a unit of the fleet whose central broker this is")
        ->take_last()
        ->check(CLI::Validator(
            [](const std::string& id) {
                const auto fault = fault_of_unit_id(id);
                return fault ? "'" + printable(id) + "' is no id of a unit: " + *fault : std::string();
            },
            ""))
        ->type_name("ID")
        ->group("Broker");
}

/// What the parser could not place stands in `rest`.
void refuse_rest(const std::vector<std::string>& rest, bool has_verb)
{
    if (!has_verb && rest.empty()) {
        throw UsageError("a verb is missing");
    }
    if (!has_verb && rest.front().front() != '-') {
        throw UsageError(unknown("there is no verb", rest.front(), verb_names()));
    }
    if (!rest.empty()) {
        throw UsageError("'" + rest.front() + "' is not understood here");
    }
}

void refuse_unit(const Verb& verb)
{
    throw UsageError(std::string("--unit is not for '") + verb.name + "', which " +
                     (verb.scope == Scope::FILES ? "reads files of this host" : "is about all units"));
}

/// The application with its verbs; each gets its declared options.
class Parser {
public:
    explicit Parser(BrokerOptions& broker) : broker_(broker)
    {
        app_.name("celldctl");
        app_.footer(FOOTER);
        app_.set_help_flag("--help", "show this help");
        app_.set_version_flag("--version", "celldctl " CELLDCTL_VERSION)->description("show the version");
        app_.get_formatter()->label("SUBCOMMAND", "VERB");
        app_.require_subcommand(0, 1);
        app_.fallthrough(); // the broker's options may stand behind the verb, too
        add_broker_options(app_, broker);
        for (const auto& verb : verbs()) {
            auto* const command = app_.add_subcommand(verb.name, verb.purpose);
            command->group("Verbs");
            command->footer("The broker's options (celldctl --help) may stand before and behind the verb.");
            Options options(*command);
            runs_.push_back({command, verb, verb.declare(options)});
        }
        app_.allow_extras(); // told in our own words
    }

    /// May throw CLI::Error.
    Run parse(int argc, const char* const* argv)
    {
        app_.parse(argc, argv);
        for (const auto& [command, verb, run] : runs_) {
            if (command->parsed()) {
                refuse_rest(app_.remaining(true), true);
                if (broker_.unit && verb.scope != Scope::UNIT) {
                    refuse_unit(verb);
                }
                return run;
            }
        }
        refuse_rest(app_.remaining(true), false);
        return {};
    }

    std::string help() const { return app_.help(); }

private:
    CLI::App app_{"celldctl shows and steers the modem daemon over the unit's bus."};
    BrokerOptions& broker_;
    struct Declared {
        CLI::App* command;
        const Verb& verb;
        Run run;
    };
    std::vector<Declared> runs_;
};

} // namespace

void Options::flag(const std::string& name, bool& value, const std::string& help)
{
    app_.add_flag(name, value, help);
}

void Options::seconds(const std::string& name, std::optional<std::chrono::seconds>& value,
                      const std::string& help)
{
    app_.add_option_function<int>(
            name, [&value](int count) { value = std::chrono::seconds(count); }, help)
        ->check(CLI::Range(1, LONGEST_SECONDS).description(""))
        ->type_name("SECONDS");
}

void Options::count(const std::string& name, std::size_t& value, const std::string& help)
{
    app_.add_option(name, value, help)->check(CLI::Range(1, LARGEST_COUNT).description(""))->type_name("N");
}

void Options::text(const std::string& name, std::string& value, const std::string& help)
{
    named(app_.add_option(name, value, help), name)->type_name("TEXT");
}

void Options::one_of(const std::string& name, std::string& value, utils::Words known, const std::string& help)
{
    named(app_.add_option(name, value, help), name)->transform(one_of_words(known))->type_name("WORD");
}

void Options::some_of(const std::string& name, std::vector<std::string>& values, utils::Words known,
                      const std::string& help)
{
    named(app_.add_option(name, values, help), name)
        ->delimiter(',')
        ->transform(one_of_words(known))
        ->allow_extra_args(false)
        ->type_name("WORD,...");
}

void Options::texts(const std::string& name, std::vector<std::string>& values, const std::string& help)
{
    named(app_.add_option(name, values, help), name)->allow_extra_args(false)->type_name("TEXT");
}

void Options::paths(const std::string& name, std::vector<std::string>& values, const std::string& help)
{
    named(app_.add_option(name, values, help), name)->type_name("FILE");
}

CommandLine parse_command_line(int argc, const char* const* argv)
{
    CommandLine line;
    Parser parser(line.broker);
    try {
        line.run = parser.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        line.text = parser.help();
    } catch (const CLI::CallForVersion& version) {
        line.text = std::string(version.what()) + "\n";
    } catch (const CLI::ParseError& error) {
        throw UsageError(error.what());
    }
    return line;
}

} // namespace celldctl
