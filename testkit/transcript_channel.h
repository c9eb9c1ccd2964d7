/// @file
/// A channel that writes down what passes to another channel.
#ifndef TESTKIT_TRANSCRIPT_CHANNEL_H
#define TESTKIT_TRANSCRIPT_CHANNEL_H

#include "testkit/forwarding_channel.h"
#include "testkit/script_step.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>

/// What it writes down is a script, which a `ScriptedChannel` plays again. Bytes that several reads
/// give are one step, up to a line end.
class TranscriptChannel : public ForwardingChannel
{
public:
    /// @param channel the channel that does the work; outlives this one
    /// @param lineEnd what ends a line of the protocol; empty for one without lines
    explicit TranscriptChannel(AbstractDeviceInterface &channel,
                               const QByteArray &lineEnd = "\r\n");
    ~TranscriptChannel() override;

    int read(char *buffer, int maxLength) override;
    int write(const char *buffer, int length) override;
    int control(int code, const QVariant &value) override;

    /// The calls so far, as a script.
    QByteArray transcript() const;

    /// Whether each step is also printed, as a debug message, as soon as it has passed; off at
    /// first.
    bool isPrinted;

private:
    void endReply();
    void note(const ScriptStep &step);

    const QByteArray m_lineEnd;
    QList<QByteArray> m_steps;
    QByteArray m_received; // of a step that is not at its end
};

#endif
