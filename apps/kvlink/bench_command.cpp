// bench: how fast the PLC answers reads, and how busy that keeps the wire.
#include "apps/option_checks.h"
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "apps/kvlink/load_options.h"
#include "apps/kvlink/run_report.h"
#include "drivers/communicator_command.h"
#include "runtime/client.h"
#include "runtime/link_channel.h"
#include "runtime/stop_request.h"

#include <CLI/CLI.hpp>

#include <QtCore/QElapsedTimer>
#include <QtCore/QTextStream>

#include <memory>

namespace
{

struct BenchOptions {
    LoadOptions load = {QStringLiteral("DM0"), 1, 0};
    int requests = 100;
    QString report; ///< empty for none
};

double secondsOf(const QElapsedTimer &time)
{
    return static_cast<double>(time.nsecsElapsed()) / 1e9;
}

void printResult(const Client &client, const LineSpeed &speed, double seconds, QTextStream &out)
{
    const Statistics statistics = client.statistics();
    const int good = statistics.requests() - statistics.errors();
    out << "requests per second: " << QString::number(good / seconds, 'f', 1) << '\n'
        << "p50: " << QString::number(statistics.timeMs(50), 'f', 3) << " ms\n"
        << "p99: " << QString::number(statistics.timeMs(99), 'f', 3) << " ms\n";
    if (speed.baudRate == 0)
        return;
    const double share = speed.share(client.channel()->bytes(), seconds);
    out << "share of the line's time: " << QString::number(100 * share, 'f', 1) << " % at "
        << speed.baudRate << " baud\n";
}

// How far the bench has come, on one line.
QString interimText(const Statistics &statistics, int requests, double seconds)
{
    return QString::fromLatin1("so far %1 of %2 requests, %3 a second: %4")
        .arg(QString::number(statistics.requests()), QString::number(requests),
             QString::number(statistics.requests() / seconds, 'f', 1), statistics.text());
}

int runBench(const BenchOptions &bench, const LinkOptions &options, QTextStream &out,
             QTextStream &err)
{
    const LoadOptions &load = bench.load;
    if (Failure failure = checkWordAddress(load.address))
        return complain(err, failure);
    RunReport report(bench.report, QLatin1String("kvlink bench ") + load.address);
    Client client(options, err);
    Failure failure = report.check();
    if (!failure)
        failure = client.open();
    if (failure)
        return complain(err, failure);
    report.watch(&client);
    const CommunicatorCommand command(Word, static_cast<quint32>(load.words), load.address);
    QByteArray data;
    QElapsedTimer time;
    time.start();
    failure = Failure(StatusNoReply, QString()); // of a bench that a signal ends at once
    int failed = 0;
    for (int i = 0; i < bench.requests && !stopRequested(); ++i) {
        failure = client.read(command, &data);
        // A request that the signal has cut short says nothing about the PLC.
        const bool isCutShort = stopRequested() && failure.status() == StatusNoReply;
        if (failure && !isCutShort && ++failed == 1)
            complain(err, failure);
        if (takeReportRequest())
            complain(err, interimText(client.statistics(), bench.requests, secondsOf(time)),
                     StatusGood);
    }
    const Statistics statistics = client.statistics();
    const bool someSucceeded = statistics.requests() > statistics.errors();
    if (someSucceeded)
        printResult(client, lineSpeed(options, load.baudRate), secondsOf(time), out);
    const Status status = !someSucceeded ? failure.status() : failed > 0 ? StatusSome : StatusGood;
    complain(err, statistics.text(), status);
    failure = report.write(lineName(options), client);
    return failure ? complain(err, failure) : status;
}

} // namespace

void addBenchCommand(CLI::App &app, CommandLine *line)
{
    const auto bench = std::make_shared<BenchOptions>();
    CLI::App *command = app.add_subcommand("bench", "Read again and again, and measure");
    addLoadOptions(command, &bench->load, "First word", "Words in a request");
    command->add_option("--requests", bench->requests, "Number of requests")
        ->transform(decimalRange(1, 999999999))
        ->capture_default_str();
    addBaudOption(command, &bench->load);
    addReportOption(command, &bench->report);
    command->callback([line, bench] { line->run = withOptions(bench, runBench); });
}
