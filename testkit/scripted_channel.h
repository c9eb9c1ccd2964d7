/// @file
/// A channel that plays a script and compares every call of the driver with it.
#ifndef TESTKIT_SCRIPTED_CHANNEL_H
#define TESTKIT_SCRIPTED_CHANNEL_H

#include "testkit/link_values.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>

/// For the exact exchanges of a protocol: `ScriptedChannel channel("!|>READ 1|<0042");`. The text of
/// a step is in script_step.h. A read that asks for less than a step holds gets the rest with the
/// next read. A call that does not fit is noted, and the script goes on with the next step.
class ScriptedChannel : public LinkValues
{
public:
    /// @param script  the steps, separated by "|"; empty for a driver that must not call
    /// @param lineEnd what ends a line of the protocol; empty for one without lines
    explicit ScriptedChannel(const QByteArray &script, const QByteArray &lineEnd = "\r\n");

    int read(char *buffer, int maxLength) override;
    int write(const char *buffer, int length) override;
    int control(int code, const QVariant &value) override;

    /// What went otherwise: the first such step, what the driver did and what the script says.
    /// Empty when every call fitted the script and the script is used up.
    QByteArray fault() const;

    /// A read says that it has given so many bytes more than it has: a channel that is broken.
    int claimedMore;

private:
    const QByteArray m_lineEnd;
    QList<QByteArray> m_script;
    QList<QByteArray> m_calls; // as the script has them
    QByteArray m_pending;
};

#endif
