/// A wait for the PLC that leaves the thread to the clients.
#ifndef BRIDGE_EVENT_PORT_H
#define BRIDGE_EVENT_PORT_H

#include "runtime/port.h"

#include <functional>
#include <memory>

/// Waits until a descriptor has input, for so many milliseconds at most, and does other work
/// meanwhile; the descriptor -1 has none. @return whether there is input
typedef std::function<bool(int descriptor, qint64 ms)> InputWait;

/// An open port whose waits for input are somebody else's.
class EventPort : public Port
{
public:
    /// @param port has a descriptor
    EventPort(std::unique_ptr<Port> port, const InputWait &wait)
        : m_port(std::move(port)), m_wait(wait)
    {}

    int read(char *buffer, int maxLength) override { return m_port->read(buffer, maxLength); }
    int write(const char *bytes, int length, int timeoutMs) override
    {
        return m_port->write(bytes, length, timeoutMs);
    }
    bool waitForInput(qint64 ms) override
    {
        return ms > 0 && !isBroken() ? m_wait(m_port->descriptor(), ms) : m_port->waitForInput(ms);
    }
    qint64 nowMs() const override { return m_port->nowMs(); }
    qint64 transmissionMs(int bytes) const override { return m_port->transmissionMs(bytes); }
    bool isBroken() const override { return m_port->isBroken(); }
    QString brokenText() const override { return m_port->brokenText(); }

private:
    Q_DISABLE_COPY(EventPort)

    const std::unique_ptr<Port> m_port;
    const InputWait m_wait;
};

#endif
