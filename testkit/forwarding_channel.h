/// @file
/// What channels have in common that stand between a driver and another channel.
#ifndef TESTKIT_FORWARDING_CHANNEL_H
#define TESTKIT_FORWARDING_CHANNEL_H

#include "drivers/abstract_device_interface.h"

#include <QtCore/QVariant>

/// Passes every call on; a subclass changes some of them.
class ForwardingChannel : public AbstractDeviceInterface
{
public:
    /// @param channel does the work; outlives this one
    explicit ForwardingChannel(AbstractDeviceInterface &channel) : m_channel(channel) {}

    int read(char *buffer, int maxLength) override { return m_channel.read(buffer, maxLength); }
    int write(const char *buffer, int length) override { return m_channel.write(buffer, length); }
    int control(int code, const QVariant &value) override { return m_channel.control(code, value); }
    int getRetry() override { return m_channel.getRetry(); }
    int getStationId() override { return m_channel.getStationId(); }
    unsigned long getDelay() override { return m_channel.getDelay(); }

private:
    AbstractDeviceInterface &m_channel;
};

#endif
