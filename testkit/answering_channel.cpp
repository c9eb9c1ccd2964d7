#include "testkit/answering_channel.h"

#include "testkit/simulated_device.h"

#include <QtCore/QVariant>

#include <cstring>

AnsweringChannel::AnsweringChannel(const std::function<QByteArray(const QByteArray &)> &answer)
    : m_answer(answer)
{}

AnsweringChannel::AnsweringChannel(SimulatedDevice &device)
    : m_answer([&device](const QByteArray &bytes) { return device.receive(bytes); })
{}

int AnsweringChannel::read(char *buffer, int maxLength)
{
    const int length = qBound(0, maxLength, m_pending.size());
    std::memcpy(buffer, m_pending.constData(), static_cast<size_t>(length));
    m_pending.remove(0, length);
    return length;
}

int AnsweringChannel::write(const char *buffer, int length)
{
    m_pending += m_answer(QByteArray(buffer, length));
    return length;
}

int AnsweringChannel::control(int code, const QVariant &)
{
    if (code != DiscardInput)
        return 0;
    m_pending.clear();
    return 1;
}
