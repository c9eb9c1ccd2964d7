// ping: opens and closes the communication, and nothing else.
#include "apps/option_checks.h"
#include "apps/duration.h"
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "drivers/abstract_device_interface.h"
#include "runtime/client.h"
#include "runtime/stop_request.h"

#include <CLI/CLI.hpp>

#include <QtCore/QElapsedTimer>
#include <QtCore/QTextStream>

#include <memory>

namespace
{

struct PingOptions {
    int count = 4; ///< 0 for no end
    int intervalMs = 1000;
};

// @return the first good status, else the last failure's
int pingAll(const PingOptions &ping, Client &client, QTextStream &out, QTextStream &err)
{
    int status = -1;
    QElapsedTimer clock;
    clock.start();
    for (qint64 n = 1; (ping.count == 0 || n <= ping.count) && !stopRequested(); ++n) {
        double openMs = 0;
        double closeMs = 0;
        Failure failure = client.ping(&openMs, &closeMs);
        if (!failure) {
            out << n << ": open " << QString::number(openMs, 'f', 3) << " ms, close "
                << QString::number(closeMs, 'f', 3) << " ms\n";
            out.flush();
            status = StatusGood;
        } else if (!stopRequested()) {
            complain(err, QString::number(n) + QLatin1String(": ") + failure.text(),
                     failure.status());
            if (status != StatusGood)
                status = failure.status();
        }
        if (ping.count == 0 || n < ping.count)
            waitForStop(n * ping.intervalMs - clock.elapsed());
        if (out.status() != QTextStream::Ok)
            break;
    }
    return status < 0 ? StatusNoReply : status;
}

int runPing(const PingOptions &ping, const LinkOptions &options, QTextStream &out, QTextStream &err)
{
    Client client(options, err);
    if (Failure failure = client.open())
        return complain(err, failure);
    const int status = pingAll(ping, client, out, err);
    if (out.status() != QTextStream::Ok)
        return StatusOpen;
    return complain(err, client.statistics().text(), static_cast<Status>(status));
}

} // namespace

void addPingCommand(CLI::App &app, CommandLine *line)
{
    const auto ping = std::make_shared<PingOptions>();
    CLI::App *command = app.add_subcommand("ping", "Open and close only; prints round-trip times");
    command->add_option("--count", ping->count, "Number of pings, 0 for no end")
        ->transform(decimalRange(0, 999999999))
        ->capture_default_str();
    command
        ->add_option("--interval", ping->intervalMs,
                     "Time from one to the next; a bare number is in ms")
        ->type_name("TIME")
        ->transform(duration(0, 3600000))
        ->default_str("1s");
    command->callback([line, ping] { line->run = withOptions(ping, runPing); });
}
