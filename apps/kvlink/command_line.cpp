#include "command_line.h"

#include "apps/decimal_range.h"
#include "commands.h"
#include "exit_status.h"

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

void addLinkOptions(CLI::App &app, LinkOptions *link)
{
    CLI::Option *port = app.add_option("--port", link->port, "Serial port; 9600,8e1 unless given")
                            ->type_name("DEV[,BAUD[,FORMAT]]");
    CLI::Option *tcp = app.add_option("--tcp", link->tcp, "TCP connection")->type_name("HOST:PORT");
    CLI::Option *sim = app.add_flag("--sim", link->simulated, "Own simulated PLC");
    port->excludes(tcp)->excludes(sim);
    tcp->excludes(sim);
    CLI::Option *station = app.add_option("--station", link->station, "Station number")
                               ->transform(decimalRange(0, 99));
    CLI::Option *projectPort =
        app.add_option("--project-port", link->projectPort,
                       "Take the station that the project has for this port of the panel")
            ->type_name("COM2|ETHERNET")
            ->excludes(station);
    app.add_option("--project", link->projectFile, "Project database to look in")
        ->type_name("FILE")
        ->needs(projectPort);
    app.add_option("--retry", link->retry, "Further attempts after a failed one")
        ->transform(decimalRange(0, 1000));
    app.add_option("--delay", link->delayMs, "Pause before every attempt, in ms")
        ->transform(decimalRange(0, 600000));
    app.add_option("--timeout", link->timeoutMs, "Wait for a reply, in ms")
        ->transform(decimalRange(1, 600000));
    app.add_flag("--trace", link->trace, "Print each line sent and received");
    app.add_option("--driver", link->driverPath, "Driver plug-in to load")->type_name("FILE");
}

bool namesLink(const LinkOptions &link)
{
    return !link.port.empty() || !link.tcp.empty() || link.simulated;
}

} // namespace

bool parseCommandLine(int argc, char **argv, CommandLine *line, int *status)
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
    addLinkOptions(app, &line->link);
    addInfoCommand(app, line);
    addReadCommand(app, line);
    addWriteCommand(app, line);
    addProjectCommand(app, line);
    try {
        app.parse(argc, argv);
        if (line->needsLink && !namesLink(line->link))
            throw CLI::RequiredError("One of --port, --tcp and --sim");
    } catch (const CLI::ParseError &error) {
        *status = app.exit(error) == 0 ? StatusGood : StatusUsage;
        return false;
    }
    return true;
}
