/// @file
/// A channel with a simulated device at its other end.
#ifndef TESTKIT_ANSWERING_CHANNEL_H
#define TESTKIT_ANSWERING_CHANNEL_H

#include "testkit/link_values.h"

#include <QtCore/QByteArray>

#include <functional>

class SimulatedDevice;

/// A function gives the reply to each write. Replies wait until they are read or discarded; a read
/// never waits, and gives 0 when there is nothing.
class AnsweringChannel : public LinkValues
{
public:
    /// @param answer gets the bytes of a write and gives the reply; empty for none
    explicit AnsweringChannel(const std::function<QByteArray(const QByteArray &)> &answer);

    /// The same with a device. @param device outlives the channel
    explicit AnsweringChannel(SimulatedDevice &device);

    int read(char *buffer, int maxLength) override;
    int write(const char *buffer, int length) override;
    int control(int code, const QVariant &value) override;

private:
    std::function<QByteArray(const QByteArray &)> m_answer;
    QByteArray m_pending;
};

#endif
