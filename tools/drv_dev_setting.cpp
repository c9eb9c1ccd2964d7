#include "tools/drv_dev_setting.h"

#include "tools/qt_compat.h"

#include <QtCore/QDataStream>
#include <QtCore/QIODevice>
#include <QtCore/QTextStream>

#include <climits>

namespace
{

// Items of a dump, each followed by one space; texts stand between quotes, unescaped.
class DumpText
{
public:
    DumpText() : m_stream(&m_text) {}

    template <typename Number>
    DumpText &number(const char *label, Number value)
    {
        m_stream << label << ' ' << value << ' ';
        return *this;
    }

    DumpText &text(const char *label, const QString &value)
    {
        m_stream << label << " \"" << value << "\" ";
        return *this;
    }

    void print()
    {
        m_stream.flush();
        printDebugText(m_text);
    }

private:
    QString m_text;
    QTextStream m_stream;
};

typedef QList<QPair<QString, quint16>> SocketData;

// Reads a value and gives whether the stream had all of it, whatever its status was before.
template <typename Value>
bool readWhole(QDataStream &stream, Value &value)
{
    const QDataStream::Status former = stream.status();
    stream.resetStatus();
    stream >> value;
    const bool whole = stream.status() != QDataStream::ReadPastEnd;
    if (former != QDataStream::Ok) {
        stream.resetStatus();
        stream.setStatus(former);
    }
    return whole;
}

// A sequential device may call itself at its end while it merely does not know what is to come.
bool atEnd(const QDataStream &stream)
{
    char next = 0;
    return stream.atEnd() &&
           (!stream.device()->isSequential() || stream.device()->peek(&next, 1) < 1);
}

// Read by hand: Qt 4.8 keeps what it read of a list from a short stream, Qt 5 forgets it. A device
// that neither ends nor gives anything stops it, whatever the count.
SocketData readSocketData(QDataStream &stream)
{
    quint32 count = 0;
    stream >> count;
    SocketData entries;
    bool more = count > 0;
    while (more) {
        QPair<QString, quint16> entry(QString(), 0);
        const bool wholeText = readWhole(stream, entry.first);
        const bool wholePort = readWhole(stream, entry.second);
        entries.append(entry);
        more = wholeText && wholePort && static_cast<quint32>(entries.size()) < count &&
               !atEnd(stream);
    }
    return entries;
}

} // namespace

DriverSetting::DriverSetting(int timeoutMs, int retries, int station, int delayMs)
    : timeout(timeoutMs), retry(retries), stationid(station), delay(delayMs), auxFlag(false)
{}

DriverSetting::DriverSetting(int timeoutMs, int retries, int station, int delayMs, const QString &,
                             unsigned short)
    : timeout(timeoutMs), retry(retries), stationid(station), delay(delayMs), auxFlag(false)
{}

DriverSetting::DriverSetting(int timeoutMs, int retries, int station, int delayMs, const QString &,
                             unsigned short, const QString &extraText, bool extraFlag)
    : timeout(timeoutMs), retry(retries), stationid(station), delay(delayMs), auxText(extraText),
      auxFlag(extraFlag)
{}

void DriverSetting::copy(const DriverSetting &other)
{
    timeout = other.timeout;
    retry = other.retry;
    stationid = other.stationid;
    delay = other.delay;
    auxText = other.auxText;
}

DeviceSetting::DeviceSetting(device_type kind, QString name, int bitsPerSecond, int dataBits,
                             int stopBitCode, int parityCode)
    : type(kind), string(name), baudrate(bitsPerSecond), databits(dataBits), stopbits(stopBitCode),
      parity(parityCode), auxValue(0), linkID(-1), currentIPIndex(0)
{}

DeviceSetting::DeviceSetting(device_type kind, QString name, int bitsPerSecond, int dataBits,
                             int stopBitCode, int parityCode, int extraValue, QString extraText)
    : type(kind), string(name), baudrate(bitsPerSecond), databits(dataBits), stopbits(stopBitCode),
      parity(parityCode), auxValue(extraValue), auxText(extraText), linkID(-1), currentIPIndex(0)
{}

// The entry that an index names, -1 when it names none.
int DeviceSetting::entryIndex(int index) const
{
    const int entry = index == -1 ? currentIPIndex : index;
    return entry >= 0 && entry < socketData.size() ? entry : -1;
}

unsigned short DeviceSetting::port(int index) const
{
    const int entry = entryIndex(index);
    return entry < 0 ? static_cast<unsigned short>(0) : socketData.at(entry).second;
}

QString DeviceSetting::socketIP(int index) const
{
    const int entry = entryIndex(index);
    return entry < 0 ? QString() : socketData.at(entry).first;
}

void DeviceSetting::setPort(unsigned short number, int index)
{
    const int entry = entryIndex(index);
    if (entry >= 0)
        socketData[entry].second = number;
}

void DeviceSetting::setSocketIP(const QString &ip, int index)
{
    const int entry = entryIndex(index);
    if (entry >= 0)
        socketData[entry].first = ip;
}

void DeviceSetting::setCurrentIPIndex(int index)
{
    if (index >= 0 && index < socketData.size())
        currentIPIndex = index;
}

void DeviceSetting::setSocketData(const QList<QPair<QString, QString>> &data)
{
    QList<QPair<QString, unsigned short>> entries;
    for (const QPair<QString, QString> &texts : data) {
        // Not toUShort: Qt 4.8 cuts the number to a long, which has 32 bits on the panel.
        const qulonglong number = texts.second.toULongLong();
        entries.append(
            qMakePair(texts.first, static_cast<unsigned short>(number <= USHRT_MAX ? number : 0)));
    }
    socketData = entries;
}

void DriverSetting::dump()
{
    DumpText()
        .number("timeout:", timeout)
        .number("retry:", retry)
        .number("stationid:", stationid)
        .number("delay:", delay)
        .print();
}

void DeviceSetting::dump()
{
    DumpText()
        .number("type:", static_cast<quint32>(type))
        .text("string:", string)
        .number("baudrate:", baudrate)
        .number("databits:", databits)
        .number("stopbits:", stopbits)
        .number("parity:", parity)
        .number("linkID:", linkID)
        .text("current ip:", socketIP(-1))
        .number("current port:", port(-1))
        .print();
}

QDataStream &operator<<(QDataStream &stream, const DriverSetting &setting)
{
    return stream << qint32(setting.timeout) << qint32(setting.retry) << qint32(setting.stationid)
                  << qint32(setting.delay);
}

QDataStream &operator>>(QDataStream &stream, DriverSetting &setting)
{
    return stream >> setting.timeout >> setting.retry >> setting.stationid >> setting.delay;
}

QDataStream &operator<<(QDataStream &stream, const DeviceSetting &setting)
{
    stream << static_cast<quint32>(setting.type) << setting.string << qint32(setting.baudrate)
           << qint32(setting.databits) << qint32(setting.stopbits) << qint32(setting.parity)
           << qint32(setting.auxValue) << qint32(setting.linkID) << qint32(setting.currentIPIndex)
           << static_cast<quint32>(setting.socketData.size());
    for (int i = 0; i < setting.socketData.size(); ++i)
        stream << setting.socketData.at(i).first << setting.socketData.at(i).second;
    return stream;
}

QDataStream &operator>>(QDataStream &stream, DeviceSetting &setting)
{
    quint32 type = 0;
    qint32 currentIndex = 0;
    stream >> type >> setting.string >> setting.baudrate >> setting.databits >> setting.stopbits >>
        setting.parity >> setting.auxValue >> setting.linkID >> currentIndex;
    setting.type = static_cast<device_type>(type);
    setting.socketData = readSocketData(stream);
    setting.setCurrentIPIndex(currentIndex);
    return stream;
}
