#include "apps/decimal_range.h"
#include "apps/kvsim/kvsim.h"

#include <CLI/CLI.hpp>

#include <QtCore/QCoreApplication>
#include <QtCore/QTextStream>

#include <cstdio>
#include <string>
#include <vector>

namespace
{

const char NOTES[] =
    "When ready it prints one line: \"pty DEVICE\" or \"tcp HOST:PORT\". SIGINT and SIGTERM end it.\n"
    "Exit status: 0 ended by a signal, 2 usage, 3 cannot open the port or the link.";

// An empty value, as an unset variable of a script leaves it, must not count as an option not
// given.
std::string refuseEmpty(const std::string &value)
{
    return value.empty() ? "the value is empty" : std::string();
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    CLI::App parser("Simulates a PLC that answers Host Link lines, until it is interrupted.",
                    "kvsim");
    parser.footer(NOTES);
    parser.set_version_flag("--version", "kvsim " KV_VERSION);
    parser.failure_message([](const CLI::App *, const CLI::Error &error) {
        return "kvsim: " + std::string(error.what()) + "\nRun kvsim --help for its usage.\n";
    });
    KvsimOptions options;
    std::string tcp;
    std::string link;
    std::vector<std::string> presets;
    CLI::Option *ptyFlag = parser.add_flag("--pty", "Serve a pseudo-terminal (the default)");
    CLI::Option *tcpOption =
        parser.add_option("--tcp", tcp, "Serve a TCP port instead; port 0 takes any free one")
            ->type_name("[HOST:]PORT")
            ->check(refuseEmpty)
            ->excludes(ptyFlag);
    parser.add_option("--station", options.station, "Station number")
        ->transform(decimalRange(0, 99));
    parser.add_option("--link", link, "Symbolic link to the pseudo-terminal, removed at the end")
        ->type_name("PATH")
        ->check(refuseEmpty)
        ->excludes(tcpOption);
    parser.add_option("--set", presets, "Preset a device, such as DM100=4660; may be repeated")
        ->type_name("DEVICE=VALUE")
        ->allow_extra_args(false);
    try {
        parser.parse(argc, argv);
    } catch (const CLI::ParseError &result) {
        return parser.exit(result) == 0 ? KVSIM_OK : KVSIM_USAGE;
    }
    options.tcp = QString::fromStdString(tcp);
    options.link = QString::fromStdString(link);
    for (const std::string &preset : presets)
        options.presets << QString::fromStdString(preset);
    QTextStream out(stdout);
    QTextStream err(stderr);
    return runKvsim(options, out, err);
}
