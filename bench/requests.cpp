#include "bench/requests.h"

#include "drivers/driver_interface.h"

#include <cstring>
#include <iostream>

namespace
{

const RequestKind KINDS[] = {
    {"words", Word, "DM100", "12aB", 0},
    {"bits", BitBlock, "R01200", "1", 0},
    {"timers", DoubleWord, "T12", "1,0000012345,0000100000", 0},
    {"write", Word, "DM100", nullptr, 2},
    {"writebits", BitBlock, "R01200", nullptr, 1},
};

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
    : m_reads(kind.replyItem != nullptr),
      m_command(kind.kind, static_cast<quint32>(items), QLatin1String(kind.address)),
      m_data(items * kind.bytesPerItem, '\x5A')
{}

bool RepeatedRequest::make(DriverInterface *driver, AbstractDeviceInterface *channel) const
{
    return m_reads ? !driver->read(channel, m_command).isEmpty()
                   : driver->write(channel, m_command, m_data) == 1;
}

bool makeRequests(DriverInterface *driver, AbstractDeviceInterface *channel,
                  const RepeatedRequest &request, int count)
{
    for (int i = 0; i < count; ++i) {
        if (!request.make(driver, channel)) {
            std::cerr << "request failed: " << qPrintable(driver->getLastError()) << "\n";
            return false;
        }
    }
    return true;
}
