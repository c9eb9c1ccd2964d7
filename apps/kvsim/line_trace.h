/// The lines of the simulated PLC in a trace.
#ifndef APPS_KVSIM_LINE_TRACE_H
#define APPS_KVSIM_LINE_TRACE_H

#include "runtime/failure.h"
#include "runtime/trace_log.h"
#include "simulator/plc_service.h"

#include <QtCore/QFile>
#include <QtCore/QTextStream>

#include <memory>

/// Prints what it observes in the format that kvlink's traces have.
class LineTrace : public LineObserver
{
public:
    /// Begins the trace. Requires: called once, before anything is observed.
    /// @param place a file, which is made anew, or "-" for @p err, which outlives the trace
    /// @return StatusOpen when the file cannot be written
    Failure open(const QString &place, QTextStream &err);

    /// Whether a line could not be written. Requires: the trace is open.
    bool failed() const { return m_log->failed(); }

    void linePassed(char direction, const QByteArray &line) override;

private:
    QFile m_file;
    QTextStream m_fileStream;
    std::unique_ptr<TraceLog> m_log;
};

#endif
