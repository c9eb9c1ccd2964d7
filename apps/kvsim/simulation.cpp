#include "apps/kvsim/simulation.h"

#include "runtime/escaped_text.h"
#include "simulator/memory_image.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QSaveFile>

namespace
{

// Far above every image and plan, far below what would fill the machine.
const qint64 MAX_FILE_SIZE = 64 << 20;

// A pipe or a device has no known size: what has been read is the least that it holds.
QString aboveLimit(const QFile &file, qint64 sizeRead)
{
    return QString::fromLatin1("%1%2 bytes, above the limit of %3 (64 MiB)")
        .arg(QLatin1String(file.isSequential() ? "at least " : ""))
        .arg(qMax(file.size(), sizeRead))
        .arg(MAX_FILE_SIZE);
}

Failure readFile(const QString &path, QByteArray *content)
{
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        *content = file.read(MAX_FILE_SIZE + 1);
    const bool isRead = file.error() == QFileDevice::NoError;
    if (isRead && content->size() <= MAX_FILE_SIZE)
        return Failure();
    return Failure(StatusOpen,
                   QString::fromLatin1("cannot read %1: %2")
                       .arg(path, isRead ? aboveLimit(file, content->size()) : file.errorString()));
}

Failure refusal(const QByteArray &reason)
{
    return Failure(StatusUsage, escapedText(reason));
}

Failure refusalIn(const QString &path, const QByteArray &reason)
{
    return Failure(StatusUsage, QString::fromLatin1("%1: %2").arg(path, escapedText(reason)));
}

// A file system that is nearly full takes a part, and gives the reason only when it gets the rest.
bool writeAll(const QByteArray &bytes, QSaveFile *file)
{
    qint64 written = 0;
    qint64 taken = 1;
    while (written < bytes.size() && taken > 0) {
        taken = file->write(bytes.constData() + written, bytes.size() - written);
        written += taken;
    }
    return written == bytes.size();
}

Failure cannotSave(const QSaveFile &file, const QString &reason)
{
    return Failure(StatusOpen,
                   QString::fromLatin1("cannot write %1: %2").arg(file.fileName(), reason));
}

// A device or a pipe would give way to a plain file of that name, /dev/null among them.
Failure openToSave(QSaveFile *file)
{
    const QFileInfo there(file->fileName());
    if (there.exists() && !there.isFile() && !there.isDir())
        return cannotSave(*file, QLatin1String("it is not a plain file"));
    return file->open(QIODevice::WriteOnly) ? Failure() : cannotSave(*file, file->errorString());
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
        if (Failure failure = readFile(m_options.loadFile, &image))
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
        if (Failure failure = readFile(m_options.faultFile, &text))
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

Failure Simulation::checkSaving() const
{
    if (m_options.saveFile.isEmpty())
        return Failure();
    QSaveFile file(m_options.saveFile);
    Failure failure = openToSave(&file);
    if (!failure)
        file.cancelWriting();
    return failure;
}

Failure Simulation::save()
{
    if (m_options.saveFile.isEmpty())
        return Failure();
    QSaveFile file(m_options.saveFile);
    Failure failure = openToSave(&file);
    if (failure || (writeAll(plcMemoryImage(m_memory), &file) && file.commit()))
        return failure;
    return cannotSave(file, file.errorString());
}
