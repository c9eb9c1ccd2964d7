#include "bench/requests.h"

#include "drivers/driver_interface.h"

#include <QtCore/QStringList>

#include <cstring>
#include <iostream>

namespace
{

const RequestKind KINDS[] = {
    {"words", Word, "DM100", "12aB", 0},
    {"spread", Word, "DM%1 MR%1 W%1", "12aB", 0},
    {"bits", BitBlock, "R01200", "1", 0},
    {"timers", DoubleWord, "T12", "1,0000012345,0000100000", 0},
    {"spreadtimers", DoubleWord, "T%1", "1,0000012345,0000100000", 0},
    {"write", Word, "DM100", nullptr, 2},
    {"writebits", BitBlock, "R01200", nullptr, 1},
};

// Of a kind that changes its address; a power of 2, so that taking the next one costs little.
const unsigned int ADDRESSES = 1024;

} // namespace

const RequestKind *findRequestKind(const char *name)
{
    for (const RequestKind &kind : KINDS) {
        if (std::strcmp(kind.name, name) == 0)
            return &kind;
    }
    return nullptr;
}

QByteArray readyReply(const RequestKind &kind, int items)
{
    if (!kind.replyItem)
        return "OK\r\n";
    QByteArray text(kind.replyItem);
    for (int i = 1; i < items; ++i)
        text.append(' ').append(kind.replyItem);
    return text + "\r\n";
}

RepeatedRequest::RepeatedRequest(const RequestKind &kind, int items)
    : m_reads(kind.replyItem != nullptr), m_data(items * kind.bytesPerItem, '\x5A')
{
    const QStringList forms = QString(QLatin1String(kind.address)).split(QLatin1Char(' '));
    const unsigned int addresses = forms.first().contains(QLatin1String("%1")) ? ADDRESSES : 1;
    for (unsigned int i = 0; i < addresses; ++i) {
        QString address = forms.at(static_cast<int>(i) % forms.size());
        address.replace(QLatin1String("%1"), QString::number(100 + i));
        m_commands.push_back(CommunicatorCommand(kind.kind, static_cast<quint32>(items), address));
    }
}

bool RepeatedRequest::make(DriverInterface *driver, AbstractDeviceInterface *channel, int i) const
{
    const CommunicatorCommand &command =
        m_commands[static_cast<size_t>(i) & (m_commands.size() - 1)];
    return m_reads ? !driver->read(channel, command).isEmpty()
                   : driver->write(channel, command, m_data) == 1;
}

bool makeRequests(DriverInterface *driver, AbstractDeviceInterface *channel,
                  const RepeatedRequest &request, int count)
{
    for (int i = 0; i < count; ++i) {
        if (!request.make(driver, channel, i)) {
            std::cerr << "request failed: " << qPrintable(driver->getLastError()) << "\n";
            return false;
        }
    }
    return true;
}
