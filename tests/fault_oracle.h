/// What the driver has to do for a request and the replies of a peer, told plainly.
#ifndef TESTS_FAULT_ORACLE_H
#define TESTS_FAULT_ORACLE_H

#include "tests/faulty_channel.h"

/// Plays one call against a copy of a peer; gives the calls, the result and the error text as
/// `CallLog` writes them.
class Oracle
{
public:
    Oracle(const Request &request, const Peer &peer) : m_request(request), m_peer(peer) {}

    B call(int retries)
    {
        for (int attempt = 0; attempt <= retries; ++attempt) {
            bool done = true;
            for (const B &line : split(m_request.lines))
                done = done && exchange(line);
            if (done)
                return m_log.end(*m_request.data != '\0' ? B("1") : value().toHex(), false,
                                 m_error);
        }
        return m_log.end("", true, m_error);
    }

private:
    bool exchange(const B &line)
    {
        if (!session("CR 07\r\n", "CC 07\r\n"))
            return false;
        ask(line + "\r\n", *m_request.data == '\0', 1538);
        if (m_got.isEmpty())
            return fail("PLC no response");
        const B text(m_got.constData()); // up to the first zero byte
        if (isError(text)) {
            fail("Response During an Error:" + text);
            session("CQ\r\n", "CF\r\n");
            return false;
        }
        if (!hasForm(text))
            return fail(m_request.wrongForm);
        m_text = text;
        return session("CQ\r\n", "CF\r\n");
    }

    bool session(const B &line, const B &answer)
    {
        ask(line, true, 8);
        const B text(m_got.constData());
        if (isError(text))
            return fail("Response During an Error:" + text);
        if (!m_got.startsWith(answer))
            return fail(m_got.isEmpty() ? "PLC no response" : "invalid response");
        return true;
    }

    void ask(const B &line, bool discards, int room)
    {
        if (discards) {
            m_log.discard();
            m_peer.discard();
        }
        m_log.line(line);
        m_peer.hear(line);
        m_got.clear();
        B chunk;
        do {
            chunk = m_peer.give(room - m_got.size());
            m_got += chunk;
        } while (!chunk.isEmpty() && !m_got.endsWith('\n') && m_got.size() < room);
    }

    static bool isA(char kind, char c)
    {
        return kind == 'b'   ? c == '0' || c == '1'
               : kind == 'd' ? c >= '0' && c <= '9'
               : kind == 'h' ? std::strchr("0123456789abcdefABCDEF", c) != 0 && c != '\0'
                             : c == kind;
    }

    static bool isError(const B &text)
    {
        return text.size() == 4 && text.startsWith('E') && isA('d', text.at(1)) &&
               text.endsWith("\r\n");
    }

    bool hasForm(const B &text) const
    {
        const B form(m_request.form);
        if (*m_request.data != '\0')
            return m_got.startsWith(form + (form.isEmpty() ? "" : "\r\n"));
        if (!text.endsWith("\r\n"))
            return false;
        for (const B &item : text.left(text.size() - 2).split(' ')) {
            bool fits = item.size() == form.size();
            for (int i = 0; fits && i < form.size(); ++i)
                fits = isA(form.at(i), item.at(i));
            if (!fits)
                return false;
        }
        return true;
    }

    B value() const
    {
        const Chunks items = m_text.left(m_text.size() - 2).split(' ');
        const bool bits = m_request.kind == Bit || m_request.kind == BitBlock;
        B bytes(bits ? 1 : 0, '\0');
        for (int i = 0; i < static_cast<int>(m_request.count); ++i) {
            const B item = items.value(i);
            const quint64 number = *m_request.form == 'h'
                                       ? item.toULongLong(0, 16)
                                       : item.mid(B(m_request.form).indexOf('d'), 10).toULongLong();
            const quint64 held = qMin(number, quint64(0xFFFFFFFFu));
            if (bits && item.startsWith('1'))
                bytes[0] = static_cast<char>(bytes.at(0) | (1 << i));
            for (int at = 0; !bits && at < (m_request.kind == Word ? 2 : 4); ++at)
                bytes += static_cast<char>((held >> (8 * at)) & 0xFF);
        }
        return bytes;
    }

    bool fail(const B &error)
    {
        m_error = error;
        return false;
    }

    const Request &m_request;
    Peer m_peer;
    CallLog m_log;
    B m_got;
    B m_text;
    B m_error;
};

#endif
