// diagnose: makes requests of several kinds for a while, and says what is wrong with the line.
#include "apps/duration.h"
#include "apps/kvlink/command_line.h"
#include "apps/kvlink/commands.h"
#include "apps/kvlink/diagnosis.h"
#include "apps/kvlink/item_output.h"
#include "apps/kvlink/load_options.h"
#include "apps/kvlink/progress.h"
#include "apps/kvlink/run_report.h"
#include "drivers/communicator_command.h"
#include "runtime/client.h"
#include "runtime/escaped_text.h"
#include "runtime/stop_request.h"

#include <CLI/CLI.hpp>

#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonObject>
#include <QtCore/QTextStream>

#include <functional>
#include <memory>

namespace
{

const int REOPEN_MS = 500;

// Of requests; each is made once at least.
const int KINDS = 3;

struct DiagnoseOptions {
    LoadOptions load = {QStringLiteral("DM0"), 64, 0}; ///< of the long request
    qint64 durationMs = 60 * SECOND_MS;
    const OutputFormat *format = defaultFormat();
    QString report; ///< empty for none
};

class DiagnoseRun
{
public:
    DiagnoseRun(const DiagnoseOptions &options, Client &client, Diagnosis &diagnosis,
                RunReport &report)
        : m_client(client), m_diagnosis(diagnosis), m_report(report), m_load(options.load),
          m_durationMs(options.durationMs)
    {}

    /// @param interim is called when the user asks how it gets on
    void run(Progress *progress, const std::function<void()> &interim)
    {
        m_client.observe([this](const RequestReport &report) {
            m_diagnosis.add(m_kind, report);
            m_report.addRequest(m_kind, report);
            m_isBroken = report.isLinkBroken;
        });
        QElapsedTimer clock;
        clock.start();
        for (int i = 0; (i < KINDS || clock.elapsed() < m_durationMs) && !stopRequested(); ++i) {
            m_kind = i % KINDS;
            if (m_isBroken &&
                (waitForStop(qMin<qint64>(REOPEN_MS, m_durationMs - clock.elapsed())) ||
                 m_client.openLink()))
                continue;
            m_isBroken = false;
            request(m_kind);
            progress->show(m_diagnosis.shortText() + QLatin1String("; second"),
                           clock.elapsed() / SECOND_MS, m_durationMs / SECOND_MS);
            if (takeReportRequest())
                interim();
        }
        m_client.observe(nullptr);
        m_diagnosis.finish(static_cast<double>(clock.nsecsElapsed()) / 1e9);
    }

    /// The kinds of requests, for people.
    static QStringList kinds(const DiagnoseOptions &options)
    {
        return {QLatin1String("open and close"), QLatin1String("1 word"),
                countText(options.load.words, "word", "words")};
    }

private:
    void request(int kind)
    {
        double ms = 0;
        QByteArray data;
        const quint32 words = kind == 1 ? 1 : static_cast<quint32>(m_load.words);
        if (kind == 0)
            static_cast<void>(m_client.ping(&ms, &ms));
        else
            static_cast<void>(
                m_client.read(CommunicatorCommand(Word, words, m_load.address), &data));
    }

    Client &m_client;
    Diagnosis &m_diagnosis;
    RunReport &m_report;
    const LoadOptions m_load;
    const qint64 m_durationMs;
    int m_kind = 0; // of the request being made
    bool m_isBroken = false;
};

int runDiagnose(const DiagnoseOptions &options, const LinkOptions &link, QTextStream &out,
                QTextStream &err)
{
    if (Failure failure = checkWordAddress(options.load.address))
        return complain(err, failure);
    const QStringList kinds = DiagnoseRun::kinds(options);
    RunReport report(options.report, QLatin1String("kvlink diagnose ") + options.load.address,
                     kinds);
    Client client(link, err);
    Failure failure = report.check();
    if (!failure)
        failure = client.open();
    if (failure)
        return complain(err, failure);
    Diagnosis diagnosis(lineName(link), lineSpeed(link, options.load.baudRate), kinds);
    diagnosis.setLatency(client.latencyText());
    Progress progress(err, link.trace);
    DiagnoseRun(options, client, diagnosis, report).run(&progress, [&] {
        progress.clear();
        complain(err, QLatin1String("so far ") + diagnosis.summary(), StatusGood);
    });
    progress.clear();
    if (options.format->isForPeople)
        diagnosis.print(out);
    else
        out << asciiJson(diagnosis.json()) << '\n';
    failure = report.write(lineName(link), client, diagnosis.reportJson());
    return failure ? complain(err, failure) : diagnosis.status();
}

} // namespace

void addDiagnoseCommand(CLI::App &app, CommandLine *line)
{
    const auto options = std::make_shared<DiagnoseOptions>();
    CLI::App *command = app.add_subcommand("diagnose", "Find out why a line is bad");
    addLoadOptions(command, &options->load, "First word to read", "Words in the longest request");
    command->add_option("--duration", options->durationMs, "How long; a bare number is in seconds")
        ->type_name("TIME")
        ->default_str("1min")
        ->transform(duration(1, 999999999 * SECOND_MS, SECOND_MS));
    addBaudOption(command, &options->load);
    addFormatOption(command, &options->format, OutputKind::Object);
    addReportOption(command, &options->report);
    command->callback([line, options] { line->run = withOptions(options, runDiagnose); });
}
