#include "apps/argument_text.h"
#include "apps/command_help.h"
#include "apps/option_checks.h"
#include "apps/duration.h"
#include "apps/kvsim/kvsim.h"
#include "apps/standard_streams.h"
#include "apps/trace_target.h"
#include "runtime/serial_port.h"
#include "runtime/undecoded_bytes.h"

#include <CLI/CLI.hpp>

#include <QtCore/QCoreApplication>
#include <QtCore/QTextStream>

#include <cstdio>
#include <string>
#include <vector>

namespace
{

const char EXAMPLES[] =
    "Examples:\n"
    "  kvsim --link /tmp/plc --set DM100=4660 --set R1215=1\n"
    "  kvsim --tcp 8501 --station 7 --set DM0=1 --save plc.csv --trace\n"
    "  kvsim --baud 9600 --reply-delay 5 --jitter 3\n"
    "  kvsim --live DM0=counter:1,1000 --live DM1=sine:0,4000,60000 --read-only DM0\n"
    "  kvsim --tcp 0 --fault late:0.01,800 --fault \"cut:every 20,3\" --seed 42\n"
    "\n";

const char NOTES[] =
    "When ready it prints one line: \"pty DEVICE\" or \"tcp HOST:PORT\". SIGINT, SIGTERM\n"
    "and SIGHUP end it. Exit status: 0 ended by a signal, 2 usage, 3 a port, a link or\n"
    "a file cannot be opened or written.";

const std::string::size_type HELP_WIDTH = 80;

std::string faultNames()
{
    std::string text = "KIND is";
    std::string::size_type lineStart = 0;
    for (const QByteArray &name : knownFaults().split(' ')) {
        const bool fits =
            text.size() - lineStart + 1 + std::string::size_type(name.size()) <= HELP_WIDTH;
        text += fits ? ' ' : '\n';
        if (!fits)
            lineStart = text.size();
        text += name.toStdString();
    }
    return text + ".\n";
}

void addList(CLI::App &parser, const char *name, QStringList *texts, const char *type,
             const char *help)
{
    parser.add_option_function<std::vector<std::string>>(name, into(texts), help)
        ->option_text(type)
        ->allow_extra_args(false);
}

void addPlaceOptions(CLI::App &parser, KvsimOptions *options)
{
    CLI::Option *pty =
        parser.add_flag("--pty", "Serve a pseudo-terminal (the default)")->option_text(" ");
    CLI::Option *tcp = addText(parser, "--tcp", &options->tcp, "[HOST:]PORT",
                               "Serve a TCP port instead; 0: any free one");
    tcp->excludes(pty);
    addText(parser, "--link", &options->link, "PATH", "Symbolic link to the pseudo-terminal")
        ->excludes(tcp);
    addText(parser, "--serial", &options->serial, "BAUD[,FORMAT]",
            "The PLC's own settings; a terminal with others is not understood")
        ->excludes(tcp);
    parser.add_option("--station", options->station, "Station number")
        ->default_str("0")
        ->option_text("N")
        ->transform(decimalRange(0, 99));
}

void addMemoryOptions(CLI::App &parser, KvsimOptions *options)
{
    addList(parser, "--set", &options->assignments, "DEVICE=VALUE", "Set a device at the start");
    addText(parser, "--load", &options->loadFile, "FILE", "Begin with the memory image (CSV)");
    addText(parser, "--save", &options->saveFile, "FILE", "Save the memory image at the end");
    addList(parser, "--live", &options->live, "DEVICE=SHAPE",
            "counter:STEP,MS or ramp|sine:MIN,MAX,MS");
    addList(parser, "--read-only", &options->readOnly, "DEVICE[-DEVICE]", "Refuse writes there");
}

void addWireOptions(CLI::App &parser, KvsimOptions *options)
{
    WireTiming *timing = &options->timing;
    CLI::Option *baud =
        parser.add_option("--baud", timing->baud, "Pace the wire at N bits a second")
            ->option_text("N")
            ->transform(decimalRange(MIN_BAUD_RATE, MAX_BAUD_RATE));
    parser.add_option("--bits-per-char", timing->bitsPerCharacter, "7 to 13; 11 is 8E1")
        ->default_str("11")
        ->option_text("N")
        ->transform(decimalRange(7, 13))
        ->needs(baud);
    parser.add_option("--reply-delay", timing->replyDelayMs, "Wait before each reply")
        ->default_str("0")
        ->option_text("TIME")
        ->transform(duration(0, 600000));
    parser.add_option("--jitter", timing->jitterMs, "Wait up to so much more, by chance")
        ->default_str("0")
        ->option_text("TIME")
        ->transform(duration(0, 600000));
    parser
        .add_option("--latency", timing->latencyMs,
                    "Hand replies over as a USB adapter does: 62 bytes, or after TIME")
        ->default_str("0")
        ->option_text("TIME")
        ->transform(duration(0, 255));
}

void addFaultOptions(CLI::App &parser, KvsimOptions *options)
{
    addList(parser, "--fault", &options->faults, "KIND[:RATE[,PARAM]]",
            "Damage replies; RATE: 0 to 1, every N, once N");
    addText(parser, "--faults", &options->faultFile, "FILE", "Faults from a file");
    parser.add_option("--seed", options->seed, "Of faults and jitter")
        ->default_str("1")
        ->option_text("N")
        ->transform(decimalRange(0, 999999999));
    parser.add_flag("--trace", "Log each line that passes, to stderr or FILE")
        ->option_text("[=FILE]")
        ->transform(traceTarget())
        ->each(into(&options->trace));
}

} // namespace

int main(int argc, char **argv)
{
    keepStandardStreams();
    QCoreApplication application(argc, argv);
    keepUndecodedBytes();
    CLI::App parser("Simulates a PLC that answers Host Link lines, until it is interrupted.",
                    "kvsim");
    setUpParser(&parser);
    parser.footer(EXAMPLES + faultNames() + NOTES);
    QTextStream out(stdout);
    QTextStream err(stderr);
    KvsimOptions options;
    addPlaceOptions(parser, &options);
    addMemoryOptions(parser, &options);
    addWireOptions(parser, &options);
    addFaultOptions(parser, &options);
    try {
        parser.parse(argc, argv);
    } catch (const CLI::ParseError &result) {
        return endOfOutput("kvsim", out, err, reportParse(parser, result, out, err));
    }
    return runKvsim(options, out, err);
}
