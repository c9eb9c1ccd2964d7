#include "apps/kvsim/simulation.h"

#include "runtime/escaped_text.h"
#include "runtime/serial_port.h"
#include "runtime/whole_file.h"
#include "simulator/memory_image.h"

namespace
{

Failure refusal(const QByteArray &reason)
{
    return Failure(StatusUsage, escapedText(reason));
}

Failure refusalIn(const QString &path, const QByteArray &reason)
{
    return Failure(StatusUsage, QString::fromLatin1("%1: %2").arg(path, escapedText(reason)));
}

} // namespace

Simulation::Simulation(const KvsimOptions &options)
    : m_options(options), m_service(m_memory, options.station)
{
    m_service.timing = options.timing;
    m_service.jitter.seed(static_cast<quint32>(options.seed));
}

Failure Simulation::prepare()
{
    Failure failure = loadMemory();
    if (!failure)
        failure = planFaults();
    if (!failure)
        failure = setFormat();
    QByteArray reason;
    for (const QString &text : m_options.live) {
        if (!failure && !m_service.liveValues.add(text.toUtf8(), &reason))
            failure = refusal(reason);
    }
    for (const QString &text : m_options.readOnly) {
        if (!failure && !m_memory.protect(text.toUtf8(), &reason))
            failure = refusal(reason);
    }
    // Better known now than after a day's work.
    return failure ? failure : checkSaving();
}

// The assignments come on top of the file.
Failure Simulation::loadMemory()
{
    QByteArray image;
    QByteArray reason;
    if (!m_options.loadFile.isEmpty()) {
        if (Failure failure = readWholeFile(m_options.loadFile, &image))
            return failure;
        if (!loadPlcMemoryImage(image, &m_memory, &reason))
            return refusalIn(m_options.loadFile, reason);
    }
    for (const QString &text : m_options.assignments) {
        if (!m_memory.assign(text.toUtf8(), &reason))
            return refusal(reason);
    }
    return Failure();
}

Failure Simulation::planFaults()
{
    FaultPlan plan(static_cast<quint32>(m_options.seed));
    QByteArray reason;
    if (!m_options.faultFile.isEmpty()) {
        QByteArray text;
        if (Failure failure = readWholeFile(m_options.faultFile, &text))
            return failure;
        if (!plan.addFile(text, &reason))
            return refusalIn(m_options.faultFile, reason);
    }
    for (const QString &text : m_options.faults) {
        if (!plan.addOption(text.toUtf8(), &reason))
            return refusal(reason);
    }
    m_service.faults = FaultEngine(plan);
    return Failure();
}

Failure Simulation::setFormat()
{
    SerialPortSetting setting;
    if (m_options.serial.isEmpty())
        return Failure();
    if (Failure failure = parseSerialPort(QLatin1String("terminal,") + m_options.serial, &setting))
        return failure;
    WireFormat &format = m_service.format;
    format.baud = setting.baudRate;
    format.dataBits = setting.dataBits;
    format.parity = serialParityLetter(setting.parity);
    format.stopBits = setting.stopBits;
    return Failure();
}

Failure Simulation::checkSaving() const
{
    return m_options.saveFile.isEmpty() ? Failure() : checkWholeFile(m_options.saveFile);
}

Failure Simulation::save()
{
    return m_options.saveFile.isEmpty()
               ? Failure()
               : writeWholeFile(m_options.saveFile, plcMemoryImage(m_memory));
}
