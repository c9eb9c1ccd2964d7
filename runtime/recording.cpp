#include "runtime/recording.h"

#include "runtime/trace_log.h"

#include <QtCore/QFile>

Failure readTrace(const QString &name, QVector<RecordedExchange> *recording)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return Failure(
            StatusOpen,
            QString::fromLatin1("cannot read the trace %1: %2").arg(name, file.errorString()));
    for (int number = 1; !file.atEnd(); ++number) {
        const QString text = QString::fromLatin1(file.readLine()).trimmed();
        TracedLine line;
        if (isTraceRemark(text))
            continue;
        if (!parseTracedLine(text, &line))
            return Failure(StatusUsage, QString::fromLatin1("%1:%2: not a line of a trace")
                                            .arg(name, QString::number(number)));
        if (line.direction == '>')
            recording->append({number, line.bytes, QByteArray()});
        else if (!recording->isEmpty())
            recording->last().reply += line.bytes;
    }
    if (recording->isEmpty())
        return Failure(StatusUsage, QString::fromLatin1("the trace %1 holds no request").arg(name));
    return Failure();
}
