#include "apps/kvsim/kvsim.h"

#include "apps/kvsim/simulation.h"
#include "apps/kvsim/stop_signals.h"
#include "apps/kvsim/symbolic_link.h"
#include "runtime/escaped_text.h"
#include "runtime/tcp_port.h"
#include "runtime/trace_log.h"
#include "simulator/pty_front.h"
#include "simulator/tcp_front.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTextStream>

#include <memory>

namespace
{

// Logs the lines that pass in the format of kvlink's traces. Requires: `open` before the first one.
class LineTrace : public LineObserver
{
public:
    Failure open(const QString &place, QTextStream &err)
    {
        return openTraceLog(place, err, &m_log);
    }

    bool failed() const { return m_log->failed(); }

    // Only the client knows its attempts.
    void linePassed(char direction, const QByteArray &line) override
    {
        m_log->line(direction, line, 0);
    }

private:
    std::unique_ptr<TraceLog> m_log;
};

void report(const PlcService &service, QTextStream &err)
{
    err << "kvsim: " << service.counts.requests << " requests, " << service.counts.errors
        << " error replies, " << service.droppedReplies << " replies dropped\n";
    for (const auto &fault : service.faults.counts())
        err << "kvsim: fault " << fault.first->name << ": " << fault.second << '\n';
    err.flush();
}

// Serves until the program is asked to stop; a script that waits for the line may then begin.
Failure serve(const QString &readyLine, QTextStream &out)
{
    out << readyLine << '\n';
    out.flush();
    if (out.status() != QTextStream::Ok)
        return Failure(StatusOpen, QLatin1String("cannot write the ready line"));
    QCoreApplication::exec();
    return Failure();
}

Failure servePty(const KvsimOptions &options, PlcService &service, QTextStream &out)
{
    PtyFront front(service);
    SymbolicLink link;
    QString error;
    if (!front.open(&error))
        return Failure(StatusOpen, error);
    if (!options.link.isEmpty()) {
        if (Failure failure = link.create(options.link, front.path()))
            return failure;
    }
    return serve(QString::fromLatin1("pty %1").arg(front.path()), out);
}

Failure serveTcp(const KvsimOptions &options, PlcService &service, QTextStream &out)
{
    TcpAddress address;
    QString error;
    if (Failure failure = parseListenAddress(options.tcp, &address))
        return failure;
    TcpFront front(service);
    if (!front.listen(address.host, address.port, &error))
        return Failure(StatusOpen, error);
    return serve(QLatin1String("tcp ") + tcpAddressText(address.host, front.port()), out);
}

Failure serveSimulation(const KvsimOptions &options, QTextStream &out, QTextStream &err)
{
    Simulation simulation(options);
    PlcService &service = simulation.service();
    LineTrace trace;
    Failure failure = simulation.prepare();
    if (!failure && !options.trace.isEmpty()) {
        failure = trace.open(options.trace, err);
        service.observer = &trace;
    }
    StopSignals stopSignals;
    if (!failure)
        failure = stopSignals.watch();
    if (failure)
        return failure;
    QObject::connect(&stopSignals, &StopSignals::stopped, QCoreApplication::instance(),
                     &QCoreApplication::quit);
    failure =
        options.tcp.isEmpty() ? servePty(options, service, out) : serveTcp(options, service, out);
    if (failure)
        return failure;
    report(service, err);
    failure = simulation.save();
    if (!failure && service.observer && trace.failed())
        failure = Failure(StatusOpen, QLatin1String("cannot write all of the trace"));
    return failure;
}

} // namespace

Status runKvsim(const KvsimOptions &options, QTextStream &out, QTextStream &err)
{
    Failure failure = serveSimulation(options, out, err);
    if (failure)
        err << "kvsim: " << printableText(failure.text()) << '\n';
    err.flush();
    return failure.status();
}
