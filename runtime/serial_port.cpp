#include "runtime/serial_port.h"

#include "runtime/port_error.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>

#include <cerrno>
#include <fcntl.h>
#include <linux/serial.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

namespace
{

const int MIN_BAUD_RATE = 50;
const int MAX_BAUD_RATE = 4000000;

// Start, 8 data, parity and 2 stop bits.
const int MAX_BITS_PER_CHARACTER = 12;

// An hour, so that waits can be added up; the longest line of the protocol takes six minutes at 50
// baud.
const qint64 MAX_TRANSMISSION_MS = 3600000;

const struct {
    char letter;
    QSerialPort::Parity parity;
} PARITIES[] = {
    {'n', QSerialPort::NoParity},   {'e', QSerialPort::EvenParity},  {'o', QSerialPort::OddParity},
    {'m', QSerialPort::MarkParity}, {'s', QSerialPort::SpaceParity},
};

bool parseBaudRate(const QString &text, qint32 *baudRate)
{
    static const QRegularExpression digits(QLatin1String("\\A[0-9]{1,7}\\z"));
    *baudRate = text.toInt();
    return digits.match(text).hasMatch() && *baudRate >= MIN_BAUD_RATE &&
           *baudRate <= MAX_BAUD_RATE;
}

bool parseFormat(const QString &text, SerialPortSetting *setting)
{
    static const QRegularExpression format(QLatin1String("\\A[5-8][neoms][12]\\z"),
                                           QRegularExpression::CaseInsensitiveOption);
    if (!format.match(text).hasMatch())
        return false;
    setting->dataBits = static_cast<QSerialPort::DataBits>(text.at(0).digitValue());
    for (const auto &row : PARITIES) {
        if (text.at(1).toLower() == QLatin1Char(row.letter))
            setting->parity = row.parity;
    }
    setting->stopBits =
        text.at(2) == QLatin1Char('2') ? QSerialPort::TwoStop : QSerialPort::OneStop;
    return true;
}

// The file behind a port's name: a bare name such as ttyS0 or pts/0 lies in /dev.
QString devicePath(const QString &device)
{
    const bool isPath = device.startsWith(QLatin1Char('/')) ||
                        device.startsWith(QLatin1String("./")) ||
                        device.startsWith(QLatin1String("../"));
    const QString path = isPath ? device : QLatin1String("/dev/") + device;
    const QString canonical = QFileInfo(path).canonicalFilePath();
    return canonical.isEmpty() ? path : canonical;
}

bool isPseudoTerminal(const QString &path)
{
    return path.startsWith(QLatin1String("/dev/pts/"));
}

// A port with a lock that is taken before the port is opened, since opening alone sets the line's
// parameters, also those of a port that another process is using. The lock holds across all names
// of a device, and for root, whom the exclusive mode of terminals does not stop.
class LockedSerialPort : public QSerialPort
{
public:
    explicit LockedSerialPort(const QString &path) : QSerialPort(path), m_lock(-1) {}

    ~LockedSerialPort() override
    {
        close();
        if (m_lock >= 0)
            ::close(m_lock);
    }

    bool lock(const QString &path, QString *error)
    {
        m_lock =
            ::open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        if (m_lock >= 0 && !isatty(m_lock)) {
            *error = QLatin1String("it is no serial port");
            return false;
        }
        if (m_lock >= 0 && flock(m_lock, LOCK_EX | LOCK_NB) == 0)
            return true;
        *error = errno == EWOULDBLOCK || errno == EBUSY
                     ? QString::fromLatin1("another process uses it")
                     : qt_error_string(errno);
        return false;
    }

private:
    Q_DISABLE_COPY(LockedSerialPort)

    int m_lock;
};

// Parity and data bits of an open port.
bool applyFormat(QSerialPort *port, const SerialPortSetting &setting)
{
    return port->setDataBits(setting.dataBits) && port->setParity(setting.parity);
}

// Qt leaves the check of received characters off: a wrong one would be taken for a good one.
bool checkReceivedCharacters(const QSerialPort &port)
{
    termios line;
    if (tcgetattr(port.handle(), &line) != 0)
        return false;
    line.c_iflag |= INPCK;
    line.c_iflag &= ~static_cast<tcflag_t>(IGNPAR | PARMRK);
    return tcsetattr(port.handle(), TCSANOW, &line) == 0;
}

} // namespace

bool parseSerialPort(const QString &text, SerialPortSetting *setting, QString *error)
{
    const QStringList parts = text.split(QLatin1Char(','));
    SerialPortSetting parsed;
    parsed.device = parts.at(0);
    if (parsed.device.isEmpty())
        *error = QString::fromLatin1("serial port \"%1\" names no device").arg(text);
    else if (parts.size() > 3)
        *error = QString::fromLatin1("serial port \"%1\" is not DEVICE,BAUD,FORMAT").arg(text);
    else if (parts.size() > 1 && !parseBaudRate(parts.at(1), &parsed.baudRate))
        *error = QString::fromLatin1("baud rate \"%1\" is not a number from %2 to %3")
                     .arg(parts.at(1))
                     .arg(MIN_BAUD_RATE)
                     .arg(MAX_BAUD_RATE);
    else if (parts.size() > 2 && !parseFormat(parts.at(2), &parsed))
        *error =
            QString::fromLatin1("format \"%1\" is not data bits 5-8, parity n/e/o/m/s and stop "
                                "bits 1/2, such as 8e1")
                .arg(parts.at(2));
    else {
        *setting = parsed;
        return true;
    }
    return false;
}

int transmissionMs(const QSerialPort &port, int bytes)
{
    const qint64 bits = qint64(MAX_BITS_PER_CHARACTER) * bytes;
    return static_cast<int>(qMin(bits * 1000 / port.baudRate() + 1, MAX_TRANSMISSION_MS));
}

bool isIdle(const QSerialPort &port)
{
    if (port.bytesAvailable() > 0 || port.bytesToWrite() > 0)
        return false;
    pollfd input = {port.handle(), POLLIN, 0};
    return poll(&input, 1, 0) == 0;
}

SerialErrors serialErrors(const QSerialPort &port)
{
    SerialErrors errors;
    serial_icounter_struct counts;
    if (ioctl(port.handle(), TIOCGICOUNT, &counts) == 0) {
        errors.parity = counts.parity;
        errors.framing = counts.frame;
        errors.overrun = counts.overrun + counts.buf_overrun;
    }
    return errors;
}

std::unique_ptr<QSerialPort> openSerialPort(const SerialPortSetting &setting, QString *error,
                                            QStringList *warnings)
{
    const QString path = devicePath(setting.device);
    std::unique_ptr<LockedSerialPort> port(new LockedSerialPort(path));
    if (!port->lock(path, error))
        return nullptr;
    port->setBaudRate(setting.baudRate);
    port->setStopBits(setting.stopBits);
    // A pseudo-terminal carries neither parity nor other data bits than 8: opening it with them
    // fails as a whole, so they come second.
    port->setDataBits(QSerialPort::Data8);
    port->setParity(QSerialPort::NoParity);
    if (!port->open(QIODevice::ReadWrite)) {
        *error = portErrorText(*port);
        return nullptr;
    }
    if (!applyFormat(port.get(), setting)) {
        if (!isPseudoTerminal(path)) {
            *error = portErrorText(*port);
            return nullptr;
        }
        port->clearError();
        warnings->append(QString::fromLatin1("pseudo-terminal %1 takes no parity or data bits; it "
                                             "is used without them")
                             .arg(setting.device));
    }
    if (checkReceivedCharacters(*port))
        return port;
    *error = QLatin1String("it cannot check received characters: ") + qt_error_string(errno);
    return nullptr;
}
