#include "runtime/serial_port.h"

#include "runtime/descriptor_port.h"
#include "runtime/port_latency.h"

#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QRegularExpression>
#include <QtSerialPort/QSerialPort>

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

// Why Qt could not open or set a port. When the file's rights allow it and the system refuses all
// the same, another process has the port.
QString openingError(const QSerialPort &port, const QString &path)
{
    const QFileInfo file(path);
    if (port.error() == QSerialPort::PermissionError && file.isReadable() && file.isWritable())
        return QLatin1String("another process uses it");
    return port.errorString();
}

// Qt opens the port, sets it, and sets it back when it is closed; the bytes go past it. The lock is
// taken before the port is opened, since opening alone sets the port's parameters, also those of a
// port that another process is using. It holds across all names of a device, and for root, whom the
// exclusive mode of terminals does not stop.
class SerialPort : public DescriptorPort
{
public:
    explicit SerialPort(const QString &path)
        : m_path(path), m_port(path), m_lock(-1), m_baudRate(MIN_BAUD_RATE)
    {}

    ~SerialPort() override
    {
        m_latency.reset(); // needs the open port
        m_port.close();
        if (m_lock >= 0)
            ::close(m_lock);
    }

    bool lock(QString *error)
    {
        m_lock = ::open(QFile::encodeName(m_path).constData(),
                        O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        if (m_lock >= 0 && !isatty(m_lock)) {
            *error = QLatin1String("it is not a serial port");
            return false;
        }
        if (m_lock >= 0 && flock(m_lock, LOCK_EX | LOCK_NB) == 0)
            return true;
        *error = errno == EWOULDBLOCK || errno == EBUSY
                     ? QString::fromLatin1("another process uses it")
                     : qt_error_string(errno);
        return false;
    }

    bool open(const SerialPortSetting &setting, QString *error, QStringList *warnings)
    {
        m_baudRate = setting.baudRate;
        m_port.setBaudRate(setting.baudRate);
        m_port.setStopBits(setting.stopBits);
        // A pseudo-terminal carries neither parity nor other data bits than 8: opening it with them
        // fails as a whole, so they come second.
        m_port.setDataBits(QSerialPort::Data8);
        m_port.setParity(QSerialPort::NoParity);
        if (!m_port.open(QIODevice::ReadWrite)) {
            *error = openingError(m_port, m_path);
            return false;
        }
        setDescriptor(m_port.handle());
        keepFromEventLoop(m_port);
        if (!m_port.setDataBits(setting.dataBits) || !m_port.setParity(setting.parity)) {
            if (!isPseudoTerminal(m_path)) {
                *error = openingError(m_port, m_path);
                return false;
            }
            warnings->append(QString::fromLatin1("pseudo-terminal %1 takes no parity or data "
                                                 "bits; it is used without them")
                                 .arg(setting.device));
        }
        if (!checkReceivedCharacters()) {
            *error =
                QLatin1String("it cannot check received characters: ") + qt_error_string(errno);
            return false;
        }
        m_latency.reset(new PortLatency(descriptor(), m_path));
        if (!m_latency->hint().isEmpty())
            warnings->append(m_latency->hint());
        return true;
    }

    qint64 transmissionMs(int bytes) const override
    {
        const qint64 bits = qint64(MAX_BITS_PER_CHARACTER) * bytes;
        return qMin(bits * 1000 / m_baudRate + 1, MAX_TRANSMISSION_MS);
    }

    QString latencyText() const override { return m_latency->text(); }

    SerialErrors errors() const override
    {
        SerialErrors errors;
        serial_icounter_struct counts;
        if (ioctl(descriptor(), TIOCGICOUNT, &counts) == 0) {
            errors.parity = counts.parity;
            errors.framing = counts.frame;
            errors.overrun = counts.overrun + counts.buf_overrun;
            errors.breaks = counts.brk;
        }
        return errors;
    }

protected:
    // A terminal without input reads like one that is gone.
    qint64 readSome(char *buffer, int maxLength) override
    {
        const ssize_t received = ::read(descriptor(), buffer, static_cast<size_t>(maxLength));
        if (received != 0)
            return received;
        pollfd state = {descriptor(), POLLIN, 0};
        errno = EAGAIN;
        return poll(&state, 1, 0) == 1 && (state.revents & (POLLHUP | POLLERR | POLLNVAL)) ? 0 : -1;
    }

    qint64 writeSome(const char *bytes, int length) override
    {
        return ::write(descriptor(), bytes, static_cast<size_t>(length));
    }

    void giveUpOutput() override { tcflush(descriptor(), TCOFLUSH); }

    QString lossText(int) const override { return QLatin1String("the port is gone or broken"); }

private:
    // Qt leaves the check of received characters off: a wrong one would be taken for a good one.
    bool checkReceivedCharacters() const
    {
        termios line;
        if (tcgetattr(descriptor(), &line) != 0)
            return false;
        line.c_iflag |= INPCK;
        line.c_iflag &= ~static_cast<tcflag_t>(IGNPAR | PARMRK);
        return tcsetattr(descriptor(), TCSANOW, &line) == 0;
    }

    QString m_path;
    QSerialPort m_port;
    std::unique_ptr<PortLatency> m_latency;
    int m_lock;
    qint32 m_baudRate;
};

} // namespace

QString serialDevicePath(const QString &device)
{
    const bool isPath = device.startsWith(QLatin1Char('/')) ||
                        device.startsWith(QLatin1String("./")) ||
                        device.startsWith(QLatin1String("../"));
    const QString path = isPath ? device : QLatin1String("/dev/") + device;
    const QString canonical = QFileInfo(path).canonicalFilePath();
    return canonical.isEmpty() ? path : canonical;
}

bool isPseudoTerminal(const QString &device)
{
    return serialDevicePath(device).startsWith(QLatin1String("/dev/pts/"));
}

Failure parseSerialPort(const QString &text, SerialPortSetting *setting)
{
    const QStringList parts = text.split(QLatin1Char(','));
    SerialPortSetting parsed;
    parsed.device = parts.at(0);
    QString error;
    if (parsed.device.isEmpty())
        error = QString::fromLatin1("serial port \"%1\" names no device").arg(text);
    else if (parts.size() > 3)
        error = QString::fromLatin1("serial port \"%1\" is not DEVICE,BAUD,FORMAT").arg(text);
    else if (parts.size() > 1 && !parseBaudRate(parts.at(1), &parsed.baudRate))
        error =
            QString::fromLatin1("baud rate \"%1\" is not a number from %2 to %3")
                .arg(parts.at(1), QString::number(MIN_BAUD_RATE), QString::number(MAX_BAUD_RATE));
    else if (parts.size() > 2 && !parseFormat(parts.at(2), &parsed))
        error = QString::fromLatin1("format \"%1\" is not data bits 5-8, parity n/e/o/m/s and stop "
                                    "bits 1/2, such as 8e1")
                    .arg(parts.at(2));
    if (!error.isEmpty())
        return Failure(StatusUsage, error);
    *setting = parsed;
    return Failure();
}

int bitsPerCharacter(const SerialPortSetting &setting)
{
    return 1 + setting.dataBits + (setting.parity == QSerialPort::NoParity ? 0 : 1) +
           (setting.stopBits == QSerialPort::TwoStop ? 2 : 1);
}

char serialParityLetter(QSerialPort::Parity parity)
{
    char letter = 'n';
    for (const auto &row : PARITIES)
        letter = row.parity == parity ? row.letter : letter;
    return letter;
}

Failure openSerialPort(const SerialPortSetting &setting, std::unique_ptr<Port> *port,
                       QStringList *warnings)
{
    QString error;
    std::unique_ptr<SerialPort> opened(new SerialPort(serialDevicePath(setting.device)));
    if (!opened->lock(&error) || !opened->open(setting, &error, warnings))
        return Failure(StatusOpen, error);
    *port = std::move(opened);
    return Failure();
}
