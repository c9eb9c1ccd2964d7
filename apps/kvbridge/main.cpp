#include "apps/argument_text.h"
#include "apps/command_help.h"
#include "apps/duration.h"
#include "apps/option_checks.h"
#include "apps/kvbridge/kvbridge.h"
#include "apps/standard_streams.h"
#include "apps/trace_target.h"
#include "runtime/undecoded_bytes.h"

#include <CLI/CLI.hpp>

#include <QtCore/QCoreApplication>
#include <QtCore/QTextStream>

#include <cstdio>
#include <string>
#include <vector>

namespace
{

const char NOTES[] =
    "Examples:\n"
    "  kvbridge --port /dev/ttyUSB0,9600,8e1 --listen 8501\n"
    "  kvbridge --port /dev/ttyUSB0 --listen 8501 --read-only --metrics 9451\n"
    "  kvbridge --port /dev/ttyUSB0 --listen 0.0.0.0:8501 --allow 192.168.0.0/24\n"
    "  kvbridge --tcp 192.168.0.10:8501 --listen 8501 --pause 20ms\n"
    "  kvbridge --tcp 192.168.0.10:8501 --listen 0 --trace\n"
    "\n"
    "When ready it prints one line: \"tcp HOST:PORT\". SIGUSR1 prints statistics; SIGINT,\n"
    "SIGTERM and SIGHUP end it. Exit status: 0 ended by a signal, 2 usage, 3 a port or a\n"
    "file cannot be opened or written.";

template <typename Milliseconds>
void addTime(CLI::App &app, const char *name, Milliseconds *ms, std::int64_t minMs,
             const char *help)
{
    app.add_option(name, *ms, help)
        ->default_str(timeWithUnit(*ms))
        ->option_text("TIME")
        ->transform(duration(minMs, DAY_MS));
}

void addWireOptions(CLI::App &app, BridgeSettings *bridge)
{
    CLI::Option *port =
        addText(app, "--port", &bridge->link.port, "DEV[,BAUD[,FORMAT]]", "Serial port of the PLC")
            ->default_str("9600,8e1");
    addText(app, "--tcp", &bridge->link.tcp, "HOST:PORT", "PLC behind a TCP connection")
        ->excludes(port);
    addTime(app, "--timeout", &bridge->timeoutMs, 1, "Longest wait for a reply");
    addTime(app, "--pause", &bridge->pauseMs, 0, "Least time between two turns");
    addTime(app, "--back-off", &bridge->turns.backOffMs, 0,
            "Least time between turns at a silent station");
}

void addClientOptions(CLI::App &app, KvbridgeOptions *options)
{
    TurnSettings *turns = &options->bridge.turns;
    addText(app, "--listen", &options->listen, "[HOST:]PORT",
            "Where clients connect; port 0: any free one")
        ->required();
    app.add_option_function<std::vector<std::string>>("--allow", into(&options->allow),
                                                      "Clients that may connect; repeatable")
        ->option_text("CIDR")
        ->default_str("this machine")
        ->allow_extra_args(false);
    app.add_flag("--read-only", turns->isReadOnly, "Refuse all lines that may change the PLC")
        ->option_text(" ");
    app.add_option("--max-clients", options->bridge.maxClients, "Most connections")
        ->default_str(std::to_string(options->bridge.maxClients))
        ->option_text("N")
        ->transform(decimalRange(1, 900));
    addTime(app, "--turn-timeout", &turns->turnTimeoutMs, 1,
            "Wait for a client's line in its turn");
    addTime(app, "--longest-turn", &turns->longestTurnMs, 1, "Longest turn while others wait");
    addTime(app, "--client-timeout", &turns->clientIdleMs, 1, "Longest time without a line");
}

void addOutputOptions(CLI::App &app, KvbridgeOptions *options)
{
    addText(app, "--metrics", &options->metrics, "[HOST:]PORT",
            "Serve Prometheus metrics over HTTP");
    app.add_flag("--trace", "Log each line that passes, to stderr or FILE")
        ->option_text("[=FILE]")
        ->transform(traceTarget())
        ->each(into(&options->trace));
}

} // namespace

int main(int argc, char **argv)
{
    keepStandardStreams();
    // Qt's own event loop makes half the system calls of that over GLib.
    qputenv("QT_NO_GLIB", "1");
    QCoreApplication application(argc, argv);
    keepUndecodedBytes();
    CLI::App parser("Lets several TCP clients share one PLC, one exchange after the other.",
                    "kvbridge");
    setUpParser(&parser);
    parser.footer(NOTES);
    QTextStream out(stdout);
    QTextStream err(stderr);
    KvbridgeOptions options;
    addWireOptions(parser, &options.bridge);
    addClientOptions(parser, &options);
    addOutputOptions(parser, &options);
    try {
        parser.parse(argc, argv);
    } catch (const CLI::ParseError &result) {
        return endOfOutput("kvbridge", out, err, reportParse(parser, result, out, err));
    }
    return runKvbridge(options, out, err);
}
