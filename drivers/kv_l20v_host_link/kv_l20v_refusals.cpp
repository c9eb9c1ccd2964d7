// What is refused before anything is sent, and the texts that say so.
#include "drivers/kv_l20v_host_link/kv_l20v_host_link.h"
#include "drivers/kv_l20v_host_link/kv_l20v_limits.h"

#include <climits>

namespace
{

bool isPrintable(QChar c)
{
    return c.unicode() >= 0x21 && c.unicode() <= 0x7E;
}

// An address as it appears in an error text: printable whatever it holds.
QString quoted(const QString &address)
{
    QString text;
    for (int i = 0; i < address.size(); ++i) {
        const QChar c = address.at(i);
        if (isPrintable(c) || c == QLatin1Char(' '))
            text += c;
        else
            text += QString::fromLatin1("\\x%1").arg(c.unicode(), 2, 16, QLatin1Char('0'));
    }
    return QLatin1Char('"') + text + QLatin1Char('"');
}

} // namespace

bool DriverKV_L20V_HostLink::failed(const QString &text)
{
    setCommError(text);
    return false;
}

bool DriverKV_L20V_HostLink::failed(const char *text)
{
    return failed(QString(QLatin1String(text)));
}

bool DriverKV_L20V_HostLink::refuseStation(int station)
{
    return failed(QString::fromLatin1("station number %1 is not in 0 to %2")
                      .arg(QString::number(station), QString::number(KV_L20V_MAX_STATION)));
}

bool DriverKV_L20V_HostLink::refuseDataLength(qint64 bytes)
{
    return failed(QString::fromLatin1("data length %1 is not in 0 to %2 bytes")
                      .arg(QString::number(bytes), QString::number(KV_L20V_MAX_DATA_LENGTH)));
}

bool DriverKV_L20V_HostLink::refuseEmptyAddress()
{
    return failed("address is empty");
}

bool DriverKV_L20V_HostLink::refuseAddress(const char *reason)
{
    return failed(
        QString::fromLatin1("address %1 %2").arg(quoted(*m_givenAddress), QLatin1String(reason)));
}

bool DriverKV_L20V_HostLink::refuseReadLine(int count)
{
    return failed(
        QString::fromLatin1("read of %1 items from address %2 does not fit a line of %3 characters")
            .arg(QString::number(count), quoted(*m_givenAddress),
                 QString::number(KV_L20V_CONTINUOUS_READ_BUFFER_SIZE - 1)));
}

bool DriverKV_L20V_HostLink::refuseWriteLine(int dataBytes)
{
    return failed(
        QString::fromLatin1("write of %1 bytes to address %2 does not fit a line of %3 characters")
            .arg(QString::number(dataBytes), quoted(*m_givenAddress),
                 QString::number(KV_L20V_COMMAND_BUFFER_SIZE - 1)));
}

bool DriverKV_L20V_HostLink::refuseWordWrite()
{
    return failed(QLatin1String("can't write word to ") + *m_givenAddress);
}

bool DriverKV_L20V_HostLink::refuseBitRun(int bits)
{
    return failed(
        QString::fromLatin1("%1 bits from address %2 on run beyond device number %3")
            .arg(QString::number(bits), quoted(*m_givenAddress), QString::number(INT_MAX)));
}

bool DriverKV_L20V_HostLink::refuseContact(const QByteArray &prefix)
{
    return failed(QString::fromLatin1("device %1 has no line that sets or resets a bit")
                      .arg(quoted(QString::fromLatin1(prefix.constData(), prefix.size()))));
}

// An address that goes into a line as it stands must not hold a blank, a line end or anything else
// that would make it more than one field, nor a character outside ASCII.
bool DriverKV_L20V_HostLink::checkCarriedAddress(const QString &address)
{
    for (int i = 0; i < address.size(); ++i) {
        if (!isPrintable(address.at(i)))
            return failed(QString::fromLatin1("address %1 holds the character 0x%2 at position %3")
                              .arg(quoted(address),
                                   QString::number(address.at(i).unicode(), 16)
                                       .rightJustified(2, QLatin1Char('0')),
                                   QString::number(i)));
    }
    return !address.isEmpty() || refuseEmptyAddress();
}
