#include "apps/kvlink/command_line.h"

#include "apps/argument_text.h"
#include "apps/command_help.h"
#include "apps/option_checks.h"
#include "apps/duration.h"
#include "apps/kvlink/commands.h"
#include "apps/kvlink/link_names.h"
#include "apps/trace_target.h"
#include "runtime/driver_plugin.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <string>

namespace
{

const char EXAMPLES[] =
    "Examples:\n"
    "  kvlink --port /dev/ttyUSB0,9600,8e1 read DM100 DM102:f32 'DM200[8]' R1215:bit T3\n"
    "  kvlink --port /dev/ttyUSB0 write DM100=4660 DM102:f32=1.5 --verify\n"
    "  kvlink --tcp plc.local:8501 monitor 'DM0[8]' --interval 200 --changes-only\n"
    "  kvlink --sim --trace read DM100 --format json\n"
    "  kvlink --port /dev/ttyUSB0 ping --count 10\n"
    "  kvlink --port /dev/ttyUSB0 dump DM0-9999 R0-R99915 -o plc.csv\n"
    "\n"
    "kvlink COMMAND --help lists its options. Values go to stdout, all else to stderr.\n"
    "Exit status: 0 good, 1 error reply, 2 usage, 3 unusable port or file, 4 no reply,\n"
    "5 unusable reply or refused request, 6 some items failed, 7 other values came back.";

const char COMMAND_FOOTER[] =
    "kvlink --help lists the options of the link, examples and the exit status.";

void addPacingOptions(CLI::App &app, LinkOptions *link)
{
    app.add_option("--retry", link->retry, "Further attempts after a failed one")
        ->default_str("3")
        ->option_text("N")
        ->transform(decimalRange(0, 1000));
    app.add_option("--delay", link->delayMs, "Delay before every attempt")
        ->default_str("0")
        ->option_text("TIME")
        ->transform(duration(0, 600000));
    app.add_option("--timeout", link->timeoutMs, "Longest wait for a reply")
        ->default_str("500ms")
        ->option_text("TIME")
        ->transform(duration(1, 600000));
}

void addCommands(CLI::App &app, CommandLine *line)
{
    addInfoCommand(app, line);
    addInspectCommand(app, line);
    addListPortsCommand(app, line);
    addScanCommand(app, line);
    addReadCommand(app, line);
    addWriteCommand(app, line);
    addMonitorCommand(app, line);
    addBatchCommand(app, line);
    addTagsCommand(app, line);
    addDumpCommand(app, line);
    addRestoreCommand(app, line);
    addDiffCommand(app, line);
    addPingCommand(app, line);
    addBenchCommand(app, line);
    addDiagnoseCommand(app, line);
    addDecodeCommand(app, line);
    addReplayCommand(app, line);
    addProjectCommand(app, line);
}

// Of the commands, those that send lines of the protocol themselves, or know all devices.
void checkDriver(const CLI::App &app, const CommandLine &line)
{
    const std::vector<std::string> onlyOurs = {"scan", "dump",  "restore",  "diff",
                                               "ping", "bench", "diagnose", "replay"};
    const std::string name = app.get_subcommands().front()->get_name();
    if (std::find(onlyOurs.begin(), onlyOurs.end(), name) != onlyOurs.end() &&
        DriverPlugin::isOther(line.link.driverPath))
        throw CLI::ValidationError(name + " speaks Host Link, not the protocol of another driver: "
                                          "give read ITEM, or leave --driver out");
}

} // namespace

void addLinkOptions(CLI::App &app, LinkOptions *link)
{
    CLI::Option *port =
        app.add_option_function<std::string>("--port", into(&link->port), "Serial port")
            ->default_str("9600,8e1")
            ->option_text("DEV[,BAUD[,FORMAT]]");
    CLI::Option *tcp =
        app.add_option_function<std::string>("--tcp", into(&link->tcp), "TCP connection")
            ->option_text("HOST:PORT");
    CLI::Option *sim =
        app.add_flag("--sim", link->simulated, "Own simulated PLC")->option_text(" ");
    port->excludes(tcp)->excludes(sim);
    tcp->excludes(sim);
    CLI::Option *station = app.add_option("--station", link->station, "Station number")
                               ->default_str("0")
                               ->option_text("N")
                               ->transform(decimalRange(0, 99));
    CLI::Option *projectPort = addText(app, "--project-port", &link->projectPort, "NAME",
                                       "Station of this panel port, such as COM2")
                                   ->excludes(station);
    app.add_option_function<std::string>("--project", into(&link->projectFile),
                                         "Project database to look in")
        ->default_str("beside the program")
        ->option_text("FILE")
        ->needs(projectPort);
    addPacingOptions(app, link);
    app.add_flag("--trace", "Log each line, to stderr or FILE")
        ->option_text("[=FILE]")
        ->transform(traceTarget())
        ->each(into(&link->trace));
    addText(app, "--driver", &link->driverPath, "FILE", "Driver plug-in to load")
        ->default_str("the installed one");
}

bool parseCommandLine(int argc, char **argv, CommandLine *line, QTextStream &out, QTextStream &err,
                      int *status)
{
    CLI::App app("Reads and writes the devices of a KEYENCE KV series PLC over Host Link.",
                 "kvlink");
    setUpParser(&app);
    app.footer(COMMAND_FOOTER); // of the commands
    app.require_subcommand(1);
    app.fallthrough();
    addLinkOptions(app, &line->link);
    addLinkNames(app, line);
    addCommands(app, line);
    app.footer(EXAMPLES);
    try {
        app.parse(argc, argv);
        takeNamedLink(app, line);
        checkDriver(app, *line);
        if (line->needsLink && !line->itemsNameLinks && !line->link.isReachable())
            throw CLI::RequiredError(app.got_subcommand("scan")
                                         ? "One of --port, --tcp and --link"
                                         : "One of --port, --tcp, --sim and --link");
    } catch (const CLI::ParseError &error) {
        *status = reportParse(app, error, out, err);
        return false;
    }
    return true;
}
