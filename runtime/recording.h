/// The exchanges of a trace, to be made again.
#ifndef RUNTIME_RECORDING_H
#define RUNTIME_RECORDING_H

#include "runtime/failure.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QVector>

/// A recorded line and its reply.
struct RecordedExchange {
    int lineNumber; ///< in the trace, from 1
    QByteArray line;
    QByteArray reply; ///< all that came before the next line
};

/// Reads a trace of kvlink or kvsim. What the programs print on stderr beside it is left out.
/// @param name      the trace's file
/// @param recording gets the exchanges
/// @return StatusOpen when the file cannot be read; StatusUsage when it has a line of another form, or
///         holds no line towards the PLC
Failure readTrace(const QString &name, QVector<RecordedExchange> *recording);

#endif
