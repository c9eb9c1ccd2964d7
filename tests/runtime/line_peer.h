/// The far end of a line, played by a test: a pseudo-terminal's master or a TCP server on this
/// machine.
#ifndef TESTS_RUNTIME_LINE_PEER_H
#define TESTS_RUNTIME_LINE_PEER_H

#include "tests/apps/program_runner.h"

#include <QtCore/QByteArray>

#include <cstdlib>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

/// One line. Nothing is answered but what a script says; its steps are separated by "|":
///
///   <      a whole line comes
///   >LINE  LINE and CR LF are sent
///   >>TEXT just these bytes are sent
///   S      the connection is kept in silence, and the next one is served
///   X      the port or the connection is closed
///   R      the connection is reset
class LinePeer
{
public:
    enum Wire { Pty, Tcp };

    explicit LinePeer(Wire wire) : m_listener(-1), m_line(-1), m_held(-1)
    {
        if (wire == Pty)
            openTerminal();
        else
            listenAt(SOMAXCONN);
    }
    ~LinePeer()
    {
        vanish();
        closeIfOpen(&m_listener);
    }

    /// The terminal's path, or HOST:PORT.
    QString place() const { return m_place; }

    /// The options with which kvlink finds this end.
    QStringList wire() const
    {
        if (m_listener >= 0)
            return QStringList() << "--tcp" << m_place;
        return QStringList() << "--port" << m_place + ",9600,8n1";
    }

    /// Plays a script. @return false when an awaited line does not come
    bool play(const char *script)
    {
        for (const QByteArray &step : QByteArray(script).split('|')) {
            if (step == "<" && !awaitLine())
                return false;
            if (step.startsWith('>'))
                send(step.startsWith(">>") ? step.mid(2) : step.mid(1) + "\r\n");
            if (step == "S")
                std::swap(m_line, m_held);
            if (step == "R")
                reset();
            if (step == "X")
                vanish();
        }
        return true;
    }

    /// What has come since the last line that a script awaited.
    QByteArray rest()
    {
        while (receive(0)) {
        }
        QByteArray bytes = m_received;
        m_received.clear();
        return bytes;
    }

    /// The settings that the terminal's user has made.
    termios settings() const
    {
        termios made = termios();
        tcgetattr(m_held, &made);
        return made;
    }

    void vanish()
    {
        closeIfOpen(&m_held);
        closeIfOpen(&m_line);
    }

    /// Turns the server into one whose queue of connections is full.
    /// @return whether a further connection has to wait
    bool refuseToAccept()
    {
        if (::listen(m_listener, 0) != 0)
            return false;
        const int pending = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        m_held = pending;
        return ::connect(pending, reinterpret_cast<sockaddr *>(&m_address), sizeof m_address) == 0;
    }

private:
    Q_DISABLE_COPY(LinePeer)

    static void closeIfOpen(int *fd)
    {
        if (*fd >= 0)
            ::close(*fd);
        *fd = -1;
    }

    void openTerminal()
    {
        m_line = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (m_line < 0 || grantpt(m_line) != 0 || unlockpt(m_line) != 0)
            return;
        m_place = QString::fromLatin1(ptsname(m_line));
        // Held open, or the master would report an end whenever no client is there.
        m_held = ::open(ptsname(m_line), O_RDWR | O_NOCTTY | O_CLOEXEC);
        termios raw;
        if (tcgetattr(m_held, &raw) == 0) {
            cfmakeraw(&raw);
            tcsetattr(m_held, TCSANOW, &raw);
        }
    }

    void listenAt(int backlog)
    {
        m_listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        m_address = sockaddr_in();
        m_address.sin_family = AF_INET;
        m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        sockaddr *address = reinterpret_cast<sockaddr *>(&m_address);
        socklen_t size = sizeof m_address;
        if (::bind(m_listener, address, size) == 0 && ::listen(m_listener, backlog) == 0 &&
            ::getsockname(m_listener, address, &size) == 0)
            m_place = QString("127.0.0.1:%1").arg(ntohs(m_address.sin_port));
    }

    bool receive(int waitMs)
    {
        pollfd ready = {m_line < 0 ? m_listener : m_line, POLLIN, 0};
        if (::poll(&ready, 1, waitMs) != 1)
            return false;
        if (m_line < 0)
            m_line = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        char chunk[4096];
        const ssize_t count = ::read(m_line, chunk, sizeof chunk);
        m_received.append(chunk, static_cast<int>(qMax<ssize_t>(0, count)));
        return count > 0;
    }

    bool awaitLine()
    {
        while (!m_received.contains('\n')) {
            if (!receive(PATIENCE_MS))
                return false;
        }
        m_received.remove(0, m_received.indexOf('\n') + 1);
        return true;
    }

    void send(const QByteArray &bytes)
    {
        if (m_line < 0)
            m_line = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (::write(m_line, bytes.constData(), static_cast<size_t>(bytes.size())) != bytes.size())
            vanish();
    }

    void reset()
    {
        const linger atOnce = {1, 0};
        ::setsockopt(m_line, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        vanish();
    }

    int m_listener;
    int m_line;
    int m_held; // the terminal's own side, or a connection that fills the queue or is kept silent
    sockaddr_in m_address;
    QString m_place;
    QByteArray m_received;
};

#endif
