/// @file
/// A channel that does one fault to one reply of another channel.
#ifndef TESTKIT_FAULTY_CHANNEL_H
#define TESTKIT_FAULTY_CHANNEL_H

#include "testkit/forwarding_channel.h"
#include "testkit/wire_faults.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QMap>

/// Replies are counted by the first read after each write, or after several. No time passes: a
/// read that waits in vain takes a time-out from the delay of what is still under way. Discarding
/// input throws away what is under way too, as a channel does that waits for late replies.
class FaultyChannel : public ForwardingChannel
{
public:
    /// @param channel the sound one, which outlives this; its read gives 0 at a reply's end
    explicit FaultyChannel(AbstractDeviceInterface &channel);

    /// Does the fault to a reply to come; one at a time. Begins to count the replies anew.
    /// @param fault   outlives the channel
    /// @param reply   its number, from 0
    /// @param variant of the fault, from 0; beyond the last one the reply stays as it is
    /// @param foreign replies and lines of other requests
    void damage(const WireFault &fault, int reply, int variant,
                const QList<QByteArray> &foreign = QList<QByteArray>());

    /// Does no fault. Begins to count the replies anew.
    void damageNothing();

    /// How often a fault was done since the channel was made; 0 for a name that there is not.
    int count(const QByteArray &fault) const { return m_counts.value(fault); }

    /// The replies since the last `damage` or `damageNothing`, before any damage, as far as they
    /// were read.
    const QList<QByteArray> &replies() const { return m_replies; }

    int read(char *buffer, int maxLength) override;
    int write(const char *buffer, int length) override;
    int control(int code, const QVariant &value) override;

private:
    void damageReply();

    const WireFault *m_fault; // null for none
    int m_reply;
    int m_variant;
    QList<QByteArray> m_foreign;
    QMap<QByteArray, int> m_counts;
    QList<QByteArray> m_replies;
    bool m_isAsked;       // a line was written and nothing read since
    WirePieces m_pending; // of damaged replies
};

#endif
