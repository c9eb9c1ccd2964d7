#include "apps/kvsim/kvsim.h"

#include "apps/kvsim/device_link.h"
#include "apps/kvsim/stop_signals.h"
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
    err << "kvsim: " << error << '\n';
    err.flush();
    return exitStatus;
}

bool presetAll(const QStringList &presets, PlcMemory *memory, QString *error)
{
    for (const QString &text : presets) {
        QByteArray reason;
        if (!memory->preset(text.toLatin1(), &reason)) {
            *error = QString::fromLatin1(reason);
            return false;
        }
    }
    return true;
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

// Serves until the program is asked to stop; the line tells the waiting script that it may begin.
template <typename Front>
int serve(const Front &front, const QString &readyLine, QTextStream &out, QTextStream &err)
{
    out << readyLine << '\n';
    out.flush();
    if (out.status() != QTextStream::Ok)
        return refuse(KVSIM_CANNOT_OPEN, QLatin1String("cannot write the ready line"), err);
    QCoreApplication::exec();
    const PlcCounts counts = front.counts();
    err << "kvsim: " << counts.requests << " requests, " << counts.errors << " error replies, "
        << front.droppedReplies() << " replies dropped\n";
    err.flush();
    return KVSIM_OK;
}

int servePty(const KvsimOptions &options, PlcMemory &memory, QTextStream &out, QTextStream &err)
{
    PtyFront front(memory, options.station);
    DeviceLink link;
    QString error;
    if (!front.open(&error) ||
        (!options.link.isEmpty() && !link.create(options.link, front.path(), &error)))
        return refuse(KVSIM_CANNOT_OPEN, error, err);
    return serve(front, QString::fromLatin1("pty %1").arg(front.path()), out, err);
}

int serveTcp(const KvsimOptions &options, PlcMemory &memory, QTextStream &out, QTextStream &err)
{
    QString host;
    quint16 port = 0;
    QString error;
    if (!parseHostAndPort(options.tcp, &host, &port, &error))
        return refuse(KVSIM_USAGE, error, err);
    TcpFront front(memory, options.station);
    if (!front.listen(host, port, &error))
        return refuse(KVSIM_CANNOT_OPEN, error, err);
    const bool inBrackets = host.contains(QLatin1Char(':'));
    const QString place = inBrackets ? QLatin1Char('[') + host + QLatin1Char(']') : host;
    return serve(front, QString::fromLatin1("tcp %1:%2").arg(place).arg(front.port()), out, err);
}

} // namespace

int runKvsim(const KvsimOptions &options, QTextStream &out, QTextStream &err)
{
    PlcMemory memory;
    QString error;
    if (!presetAll(options.presets, &memory, &error))
        return refuse(KVSIM_USAGE, error, err);
    StopSignals stopSignals;
    if (!stopSignals.watch(&error))
        return refuse(KVSIM_CANNOT_OPEN, error, err);
    QObject::connect(&stopSignals, &StopSignals::stopped, QCoreApplication::instance(),
                     &QCoreApplication::quit);
    return options.tcp.isEmpty() ? servePty(options, memory, out, err)
                                 : serveTcp(options, memory, out, err);
}
