#include "options.h"

#include "apps/decimal_range.h"
#include "commands.h"
#include "item_values.h"

#include <CLI/CLI.hpp>

namespace
{

const char EXAMPLES[] =
    "Examples:\n"
    "  kvlink info\n"
    "  kvlink --sim read DM100 -n 4\n"
    "  kvlink --port /dev/ttyUSB0,9600,8e1 write DM100 1234 -5 0xFFFF\n"
    "  kvlink --tcp plc.local:8501 --timeout 1000 --trace read R01215 -n 8 -k bit\n"
    "\n"
    "Values go to stdout, one per line; everything else goes to stderr.\n"
    "Exit status: 0 success, 1 the PLC answered with an error, 2 usage, 3 cannot open the port,\n"
    "the connection or the plug-in, 4 no reply, 5 unusable reply or refused request.";

void addLinkOptions(CLI::App &app, Options *options)
{
    CLI::Option *port =
        app.add_option("--port", options->port, "Serial port; 9600,8e1 unless given")
            ->type_name("DEV[,BAUD[,FORMAT]]");
    CLI::Option *tcp =
        app.add_option("--tcp", options->tcp, "TCP connection")->type_name("HOST:PORT");
    CLI::Option *sim = app.add_flag("--sim", options->simulated, "Own simulated PLC");
    port->excludes(tcp)->excludes(sim);
    tcp->excludes(sim);
    CLI::Option *station = app.add_option("--station", options->station, "Station number")
                               ->transform(decimalRange(0, 99));
    CLI::Option *projectPort =
        app.add_option("--project-port", options->projectPort,
                       "Take the station that the project has for this port of the panel")
            ->type_name("COM2|ETHERNET")
            ->excludes(station);
    app.add_option("--project", options->projectFile, "Project database to look in")
        ->type_name("FILE")
        ->needs(projectPort);
    app.add_option("--retry", options->retry, "Further attempts after a failed one")
        ->transform(decimalRange(0, 1000));
    app.add_option("--delay", options->delayMs, "Pause before every attempt, in ms")
        ->transform(decimalRange(0, 600000));
    app.add_option("--timeout", options->timeoutMs, "Wait for a reply, in ms")
        ->transform(decimalRange(1, 600000));
    app.add_flag("--trace", options->trace, "Print each line sent and received");
    app.add_option("--driver", options->driverPath, "Driver plug-in to load")->type_name("FILE");
}

void addKindOption(CLI::App *command, Options *options)
{
    command->add_option("-k,--kind", options->kind, "Kind of the items")
        ->check(CLI::IsMember(itemKindNames()))
        ->capture_default_str()
        ->type_name("KIND");
}

void addCommands(CLI::App &app, Options *options)
{
    CLI::App *info = app.add_subcommand("info", "Describe the driver; opens no port");
    info->callback([options] { options->command = Options::Info; });

    CLI::App *read = app.add_subcommand("read", "Read items from the PLC");
    read->callback([options] { options->command = Options::Read; });
    read->add_option("address", options->address, "First device, such as DM100")
        ->required()
        ->type_name("ADDRESS");
    read->add_option("-n,--count", options->count, "Number of items")
        ->transform(decimalRange(1, MAX_ITEM_COUNT))
        ->capture_default_str();
    addKindOption(read, options);

    CLI::App *write = app.add_subcommand("write", "Write items to the PLC");
    write->callback([options] { options->command = Options::Write; });
    write->add_option("address", options->address, "First device, such as DM100")
        ->required()
        ->type_name("ADDRESS");
    write->add_option("value", options->values, "Values: decimal, or hexadecimal with 0x")
        ->required()
        ->expected(1, MAX_ITEM_COUNT)
        ->type_name("VALUE...");
    addKindOption(write, options);
}

void addProjectCommand(CLI::App &app, Options *options)
{
    CLI::App *project = app.add_subcommand("project", "Project databases");
    project->require_subcommand(1);
    CLI::App *init = project->add_subcommand("init", "Write an example project database");
    init->callback([options] { options->command = Options::ProjectInit; });
    init->add_option("file", options->projectFile, "File that does not exist yet")
        ->required()
        ->type_name("FILE");
}

bool needsLink(const Options &options)
{
    return options.command == Options::Read || options.command == Options::Write;
}

} // namespace

bool parseOptions(int argc, char **argv, Options *options, int *status)
{
    CLI::App app("Reads and writes the devices of a KEYENCE KV series PLC over Host Link.",
                 "kvlink");
    app.footer(EXAMPLES);
    app.set_version_flag("--version", "kvlink " KV_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    app.failure_message([](const CLI::App *, const CLI::Error &error) {
        return "kvlink: " + std::string(error.what()) + "\nRun kvlink --help for its usage.\n";
    });
    addLinkOptions(app, options);
    addCommands(app, options);
    addProjectCommand(app, options);
    try {
        app.parse(argc, argv);
        if (needsLink(*options) && options->port.empty() && options->tcp.empty() &&
            !options->simulated)
            throw CLI::RequiredError("One of --port, --tcp and --sim");
    } catch (const CLI::ParseError &error) {
        *status = app.exit(error) == 0 ? StatusGood : StatusUsage;
        return false;
    }
    return true;
}
