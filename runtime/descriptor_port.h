/// A port over a descriptor of the system.
#ifndef RUNTIME_DESCRIPTOR_PORT_H
#define RUNTIME_DESCRIPTOR_PORT_H

#include "runtime/port.h"

class QObject;

/// Reads and writes a descriptor that does not block. Opening and closing are its owner's.
class DescriptorPort : public Port
{
public:
    DescriptorPort();

    int read(char *buffer, int maxLength) override;
    int write(const char *bytes, int length, int timeoutMs) override;
    bool waitForInput(qint64 ms) override;
    qint64 nowMs() const override;
    bool isBroken() const override { return hasBroken(); }
    QString brokenText() const override { return m_brokenText; }
    int descriptor() const override { return m_descriptor; }

protected:
    /// Has Qt leave the input of an open device to us, where an event loop runs in its thread.
    static void keepFromEventLoop(const QObject &device);

    /// Has to be called before anything else. @param descriptor does not block
    void setDescriptor(int descriptor) { m_descriptor = descriptor; }

    /// The first reason of a loss is kept.
    void setBroken(const QString &text);

    /// Like the system's calls: the number of bytes, or -1 with errno set. `readSome` gives 0 when
    /// the other end is gone.
    virtual qint64 readSome(char *buffer, int maxLength) = 0;
    virtual qint64 writeSome(const char *bytes, int length) = 0;

    /// What to do with the rest of a line that the system did not take in time.
    virtual void giveUpOutput() = 0;

    /// Says what a failed call means. @param error errno, or 0 when the other end is gone
    virtual QString lossText(int error) const = 0;

private:
    Q_DISABLE_COPY(DescriptorPort)

    bool hasBroken() const { return !m_brokenText.isEmpty(); }
    void noteLoss(int error);
    bool waitForRoom(qint64 *endMs, int timeoutMs);
    bool wait(short events, qint64 ms);

    int m_descriptor;
    QString m_brokenText;
};

#endif
