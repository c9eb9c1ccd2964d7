#include "simulator/pty_front.h"

#include "simulator/terminal_format.h"

#include <QtCore/QSocketNotifier>

#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace
{

const int READ_CHUNK = 4096;

bool failed(const char *step, QString *error)
{
    *error =
        QString::fromLatin1("cannot %1: %2").arg(QString::fromLatin1(step), qt_error_string(errno));
    return false;
}

bool makeRaw(int fd)
{
    termios settings;
    if (tcgetattr(fd, &settings) != 0)
        return false;
    cfmakeraw(&settings);
    return tcsetattr(fd, TCSANOW, &settings) == 0;
}

void closeIfOpen(int fd)
{
    if (fd >= 0)
        ::close(fd);
}

bool isTemporary(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

} // namespace

PtyFront::PtyFront(PlcMemory &memory, int station, QObject *parent)
    : QObject(parent), m_ownService(new PlcService(memory, station)), m_service(*m_ownService),
      m_scheduler(m_service, *this), m_master(-1), m_slave(-1), m_readable(nullptr),
      m_writable(nullptr)
{}

PtyFront::PtyFront(PlcService &service, QObject *parent)
    : QObject(parent), m_service(service), m_scheduler(m_service, *this), m_master(-1), m_slave(-1),
      m_readable(nullptr), m_writable(nullptr)
{}

PtyFront::~PtyFront()
{
    // The notifiers go before the descriptors that they watch.
    delete m_readable;
    delete m_writable;
    closeIfOpen(m_slave);
    closeIfOpen(m_master);
}

bool PtyFront::open(QString *error)
{
    if (!m_scheduler.isValid())
        return failed("make a timer", error);
    if (!openTerminal(error))
        return false;
    m_readable = new QSocketNotifier(m_master, QSocketNotifier::Read, this);
    connect(m_readable, &QSocketNotifier::activated, this, [this]() { readRequests(); });
    m_writable = new QSocketNotifier(m_master, QSocketNotifier::Write, this);
    m_writable->setEnabled(false);
    connect(m_writable, &QSocketNotifier::activated, this, [this]() { writePending(); });
    return true;
}

bool PtyFront::openTerminal(QString *error)
{
    m_master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (m_master < 0)
        return failed("open a pseudo-terminal", error);
    if (grantpt(m_master) != 0 || unlockpt(m_master) != 0)
        return failed("unlock the pseudo-terminal", error);
    char path[128];
    const int result = ptsname_r(m_master, path, sizeof path);
    if (result != 0) {
        errno = result;
        return failed("name the pseudo-terminal", error);
    }
    m_slave = ::open(path, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (m_slave < 0)
        return failed("open the pseudo-terminal's device", error);
    if (!makeRaw(m_slave))
        return failed("set up the pseudo-terminal", error);
    m_path = QString::fromLocal8Bit(path);
    return true;
}

// A pseudo-terminal carries bytes whatever its settings: what differing ones do is done here.
QByteArray PtyFront::carried(const QByteArray &bytes, bool isReply) const
{
    const WireFormat &own = m_service.format;
    if (own.baud == 0)
        return bytes;
    const WireFormat client = terminalFormat(m_master, own);
    return isReply ? heardBytes(bytes, own, client) : heardBytes(bytes, client, own);
}

void PtyFront::readRequests()
{
    char chunk[READ_CHUNK];
    const ssize_t received = ::read(m_master, chunk, sizeof chunk);
    if (received <= 0) {
        // A wire that is gone for good stays readable; without this the event loop would spin.
        if (received == 0 || !isTemporary(errno))
            m_readable->setEnabled(false);
        return;
    }
    m_scheduler.receive(carried(QByteArray(chunk, static_cast<int>(received)), false));
}

void PtyFront::send(const QByteArray &bytes)
{
    m_pending += carried(bytes, true);
    writePending();
}

int PtyFront::pendingBytes() const
{
    return m_pending.size();
}

bool PtyFront::closeConnection()
{
    return false;
}

void PtyFront::writePending()
{
    if (!m_pending.isEmpty()) {
        const ssize_t written =
            ::write(m_master, m_pending.constData(), static_cast<size_t>(m_pending.size()));
        if (written > 0)
            m_pending.remove(0, static_cast<int>(written));
        else if (written < 0 && !isTemporary(errno))
            m_pending.clear();
    }
    m_writable->setEnabled(!m_pending.isEmpty());
}
