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

bool readFile(const QString &path, QByteArray *content, QString *error)
{
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        *content = file.read(MAX_FILE_SIZE + 1);
    const bool isRead = file.error() == QFileDevice::NoError;
    if (isRead && content->size() <= MAX_FILE_SIZE)
        return true;
    *error = QString::fromLatin1("cannot read %1: %2")
                 .arg(path, isRead ? aboveLimit(file, content->size()) : file.errorString());
    return false;
}

KvsimExit refuse(const QByteArray &reason, QString *error)
{
    *error = escapedText(reason);
    return KVSIM_USAGE;
}

KvsimExit refuseLine(const QString &path, const QByteArray &reason, QString *error)
{
    *error = QString::fromLatin1("%1: %2").arg(path, escapedText(reason));
    return KVSIM_USAGE;
}

// A file system that is nearly full takes a part, and gives the reason only when it is given the
// rest.
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

QString cannotSave(const QSaveFile &file)
{
    return QString::fromLatin1("cannot write %1: %2").arg(file.fileName(), file.errorString());
}

// A device or a pipe would give way to a plain file of that name, /dev/null among them.
bool openToSave(QSaveFile *file, QString *error)
{
    const QFileInfo there(file->fileName());
    const bool isSpecial = there.exists() && !there.isFile() && !there.isDir();
    if (!isSpecial && file->open(QIODevice::WriteOnly))
        return true;
    *error = isSpecial
                 ? QString::fromLatin1("cannot write %1: it is no plain file").arg(file->fileName())
                 : cannotSave(*file);
    return false;
}

} // namespace

Simulation::Simulation(const KvsimOptions &options)
    : m_options(options), m_service(m_memory, options.station)
{
    m_service.timing = options.timing;
    m_service.jitter.seed(static_cast<quint32>(options.seed));
}

KvsimExit Simulation::prepare(QString *error)
{
    KvsimExit result = loadMemory(error);
    if (result == KVSIM_OK)
        result = planFaults(error);
    QByteArray reason;
    for (const QString &text : m_options.live) {
        if (result == KVSIM_OK && !m_service.liveValues.add(text.toUtf8(), &reason))
            result = refuse(reason, error);
    }
    for (const QString &text : m_options.readOnly) {
        if (result == KVSIM_OK && !m_memory.protect(text.toUtf8(), &reason))
            result = refuse(reason, error);
    }
    // Better known now than after a day's work.
    if (result == KVSIM_OK && !canSave(error))
        result = KVSIM_CANNOT_OPEN;
    return result;
}

// The assignments come on top of the file.
KvsimExit Simulation::loadMemory(QString *error)
{
    QByteArray image;
    QByteArray reason;
    if (!m_options.loadFile.isEmpty()) {
        if (!readFile(m_options.loadFile, &image, error))
            return KVSIM_CANNOT_OPEN;
        if (!loadPlcMemoryImage(image, &m_memory, &reason))
            return refuseLine(m_options.loadFile, reason, error);
    }
    for (const QString &text : m_options.assignments) {
        if (!m_memory.assign(text.toUtf8(), &reason))
            return refuse(reason, error);
    }
    return KVSIM_OK;
}

KvsimExit Simulation::planFaults(QString *error)
{
    FaultPlan plan(static_cast<quint32>(m_options.seed));
    QByteArray reason;
    if (!m_options.faultFile.isEmpty()) {
        QByteArray text;
        if (!readFile(m_options.faultFile, &text, error))
            return KVSIM_CANNOT_OPEN;
        if (!plan.addFile(text, &reason))
            return refuseLine(m_options.faultFile, reason, error);
    }
    for (const QString &text : m_options.faults) {
        if (!plan.addOption(text.toUtf8(), &reason))
            return refuse(reason, error);
    }
    m_service.faults = FaultEngine(plan);
    return KVSIM_OK;
}

bool Simulation::canSave(QString *error) const
{
    if (m_options.saveFile.isEmpty())
        return true;
    QSaveFile file(m_options.saveFile);
    if (!openToSave(&file, error))
        return false;
    file.cancelWriting();
    return true;
}

bool Simulation::save(QString *error)
{
    if (m_options.saveFile.isEmpty())
        return true;
    QSaveFile file(m_options.saveFile);
    if (!openToSave(&file, error))
        return false;
    if (writeAll(plcMemoryImage(m_memory), &file) && file.commit())
        return true;
    *error = cannotSave(file);
    return false;
}
