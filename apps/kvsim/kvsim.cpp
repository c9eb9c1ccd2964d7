#include "apps/kvsim/kvsim.h"

#include "apps/kvsim/device_link.h"
#include "apps/kvsim/line_trace.h"
#include "apps/kvsim/simulation.h"
#include "apps/kvsim/stop_signals.h"
#include "runtime/escaped_text.h"
#include "simulator/pty_front.h"
#include "simulator/tcp_front.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QRegularExpression>
#include <QtCore/QTextStream>

namespace
{

const char DEFAULT_HOST[] = "127.0.0.1";

int refuse(KvsimExit exitStatus, const QString &error, QTextStream &err)
{
    err << "kvsim: " << escapedText(error.toUtf8()) << '\n';
    err.flush();
    return exitStatus;
}

// [HOST:]PORT, with an IPv6 address in brackets.
bool parseHostAndPort(const QString &text, QString *host, quint16 *port, QString *error)
{
    static const QRegularExpression form(
        QLatin1String("\\A(?:(?:\\[([^\\]]+)\\]|([^:]+)):)?([0-9]{1,5})\\z"));
    const QRegularExpressionMatch match = form.match(text);
    bool isPort = false;
    *port = match.captured(3).toUShort(&isPort);
    if (!isPort)
        *error =
            QString::fromLatin1("\"%1\" is not [HOST:]PORT with a port from 0 to 65535").arg(text);
    *host = match.captured(1) + match.captured(2);
    if (host->isEmpty())
        *host = QLatin1String(DEFAULT_HOST);
    return isPort;
}

void report(const PlcService &service, QTextStream &err)
{
    err << "kvsim: " << service.counts.requests << " requests, " << service.counts.errors
        << " error replies, " << service.droppedReplies << " replies dropped\n";
    for (const auto &fault : service.faults.counts())
        err << "kvsim: fault " << fault.first->name << ": " << fault.second << '\n';
    err.flush();
}

// Serves until the program is asked to stop; a script that waits for the line may then begin.
int serve(const QString &readyLine, QTextStream &out, QTextStream &err)
{
    out << readyLine << '\n';
    out.flush();
    if (out.status() != QTextStream::Ok)
        return refuse(KVSIM_CANNOT_OPEN, QLatin1String("cannot write the ready line"), err);
    return QCoreApplication::exec();
}

int servePty(const KvsimOptions &options, PlcService &service, QTextStream &out, QTextStream &err)
{
    PtyFront front(service);
    DeviceLink link;
    QString error;
    if (!front.open(&error) ||
        (!options.link.isEmpty() && !link.create(options.link, front.path(), &error)))
        return refuse(KVSIM_CANNOT_OPEN, error, err);
    return serve(QString::fromLatin1("pty %1").arg(front.path()), out, err);
}

int serveTcp(const KvsimOptions &options, PlcService &service, QTextStream &out, QTextStream &err)
{
    QString host;
    quint16 port = 0;
    QString error;
    if (!parseHostAndPort(options.tcp, &host, &port, &error))
        return refuse(KVSIM_USAGE, error, err);
    TcpFront front(service);
    if (!front.listen(host, port, &error))
        return refuse(KVSIM_CANNOT_OPEN, error, err);
    const bool inBrackets = host.contains(QLatin1Char(':'));
    const QString place = inBrackets ? QLatin1Char('[') + host + QLatin1Char(']') : host;
    return serve(QString::fromLatin1("tcp %1:%2").arg(place).arg(front.port()), out, err);
}

} // namespace

int runKvsim(const KvsimOptions &options, QTextStream &out, QTextStream &err)
{
    Simulation simulation(options);
    PlcService &service = simulation.service();
    LineTrace trace;
    QString error;
    const KvsimExit prepared = simulation.prepare(&error);
    if (prepared != KVSIM_OK)
        return refuse(prepared, error, err);
    if (!options.trace.isEmpty()) {
        if (!trace.open(options.trace, err, &error))
            return refuse(KVSIM_CANNOT_OPEN, error, err);
        service.observer = &trace;
    }
    StopSignals stopSignals;
    if (!stopSignals.watch(&error))
        return refuse(KVSIM_CANNOT_OPEN, error, err);
    QObject::connect(&stopSignals, &StopSignals::stopped, QCoreApplication::instance(),
                     &QCoreApplication::quit);
    const int status = options.tcp.isEmpty() ? servePty(options, service, out, err)
                                             : serveTcp(options, service, out, err);
    if (status != KVSIM_OK)
        return status;
    report(service, err);
    if (!simulation.save(&error))
        return refuse(KVSIM_CANNOT_OPEN, error, err);
    if (service.observer && trace.failed())
        return refuse(KVSIM_CANNOT_OPEN, QLatin1String("cannot write all of the trace"), err);
    return KVSIM_OK;
}
