#include "testkit/faulty_channel.h"

#include <cstring>

FaultyChannel::FaultyChannel(AbstractDeviceInterface &channel)
    : ForwardingChannel(channel), m_fault(0), m_reply(0), m_variant(0), m_isAsked(false)
{}

void FaultyChannel::damage(const WireFault &fault, int reply, int variant,
                           const QList<QByteArray> &foreign)
{
    m_fault = &fault;
    m_reply = reply;
    m_variant = variant;
    m_foreign = foreign;
    m_replies.clear();
}

void FaultyChannel::damageNothing()
{
    m_fault = 0;
    m_replies.clear();
}

int FaultyChannel::read(char *buffer, int maxLength)
{
    if (m_isAsked) {
        m_isAsked = false;
        m_replies << QByteArray();
        if (m_fault && m_replies.size() == m_reply + 1)
            damageReply();
    }
    if (m_pending.isEmpty()) {
        const int count = ForwardingChannel::read(buffer, maxLength);
        if (count > 0 && !m_replies.isEmpty())
            m_replies.last().append(buffer, count);
        return count;
    }
    WirePiece &piece = m_pending.first();
    if (piece.delay >= 1) {
        piece.delay -= 1;
        return 0;
    }
    piece.delay = 0;
    const int length = qBound(0, maxLength, piece.bytes.size());
    std::memcpy(buffer, piece.bytes.constData(), static_cast<size_t>(length));
    piece.bytes.remove(0, length);
    if (piece.bytes.isEmpty())
        m_pending.removeFirst();
    return length;
}

int FaultyChannel::write(const char *buffer, int length)
{
    m_isAsked = true;
    return ForwardingChannel::write(buffer, length);
}

int FaultyChannel::control(int code, const QVariant &value)
{
    if (code == DiscardInput)
        m_pending.clear();
    return ForwardingChannel::control(code, value);
}

void FaultyChannel::damageReply()
{
    char chunk[256];
    QByteArray &good = m_replies.last();
    for (int count = 1; count > 0;) {
        count = ForwardingChannel::read(chunk, sizeof chunk);
        good.append(chunk, qMax(0, count));
    }
    if (good.isEmpty())
        return;
    const WireVariants variants = m_fault->variants(good, m_foreign);
    const WirePieces damaged = variants.value(m_variant, arriving(good));
    if (m_variant < variants.size())
        ++m_counts[m_fault->name];
    for (const WirePiece &piece : damaged) {
        if (!piece.bytes.isEmpty())
            m_pending << piece;
    }
}
